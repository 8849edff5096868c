#pragma once
// The one entry point through which an answer reaches an open alert without its window: the
// console and the tests call it, on the main loop, and it works the alert's controls as a person
// would before pressing a button. It knows the alerts on screen itself, on the main loop, so that
// it never reads the request side's lists while the synchronised queue changes them.

#include <memory>
#include <string>
#include <vector>

#include "decision/AlertAnswer.h"

namespace halvex {

class HXNotifyWindowController;

struct AnswerOutcome {
  bool answered = false;
  // Why an answer was refused, for the person; the alert stays open.
  std::string error;
};

class AlertAnswers {
 public:
  // Decides the request whose alert is open under `tag`.
  AnswerOutcome answer(const std::string& tag, const AlertAnswer& answer);
  // The tags of the alerts on screen, oldest first.
  std::vector<std::string> openAlerts() const;
  // The controller of an open alert, or nothing.
  std::shared_ptr<HXNotifyWindowController> find(const std::string& tag) const;

  // Called by the request's controller on the main loop when its alert opens and when it ends.
  void opened(std::shared_ptr<HXNotifyWindowController> request, const std::string& tag);
  void closed(const std::string& tag);

 private:
  std::vector<std::pair<std::string, std::shared_ptr<HXNotifyWindowController>>> open_;
};

}  // namespace halvex
