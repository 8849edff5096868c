#pragma once
// The one entry point through which an answer reaches an open alert. The console, the windows and
// the tests all call it, on the main loop. It knows the alerts on screen itself, on the main loop,
// so that it never reads the request side's lists while the synchronised queue changes them.

#include <memory>
#include <string>
#include <vector>

#include "decision/AlertAnswer.h"

namespace halvex {

class HXNotifyWindowController;

class AlertAnswers {
 public:
  // Decides the request whose alert is open under `tag`. False, and nothing changes, when no
  // alert is open under that tag (already decided, or never shown).
  bool answer(const std::string& tag, const AlertAnswer& answer);
  // The tags of the alerts on screen, oldest first.
  std::vector<std::string> openAlerts() const;

  // Called by the request's controller on the main loop when its alert opens and when it ends.
  void opened(std::shared_ptr<HXNotifyWindowController> request, const std::string& tag);
  void closed(const std::string& tag);

 private:
  std::vector<std::pair<std::string, std::shared_ptr<HXNotifyWindowController>>> open_;
};

}  // namespace halvex
