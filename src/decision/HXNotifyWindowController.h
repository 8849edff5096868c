#pragma once
// The controller of one open request: holds its parameters, decides it (by the rules or, with
// alerts off, by passing and learning the app), opens the alert when no rule settles it, turns the
// alert's answer into a reply and a rule, and finishes the request by resuming the synchronised
// queue.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "decision/AlertAnswer.h"
#include "decision/DecisionContext.h"
#include "link/RequestLine.h"

namespace halvex {

class HXApplication;

class HXNotifyWindowController : public std::enable_shared_from_this<HXNotifyWindowController> {
 public:
  explicit HXNotifyWindowController(DecisionContext& context);

  // Stores the request's parameters, then starts the decision. On the synchronised queue, which
  // the intake has suspended.
  void setNotifyParameters(Request request);
  // Finishes the request: its controller leaves notifyControllers and the queue runs on.
  void resumeQueue(const std::string& tag);
  // Sends `suffix` after the line as received.
  void reply(std::string_view suffix);

  // Decides the request by the rules of the managed apps: replies and finishes it, answers for an
  // app in quiet time, or hands it to the alert with the queue still held.
  void checkExistingRules();
  // Whether the path belongs to a managed app, and which one (see findAppForPath).
  bool appExistsInGlobalArray(const std::string& path) const;
  std::shared_ptr<HXApplication> getAppFromGlobalArray(const std::string& path) const;

  // The alert's answer, on the main loop: the reply, the rule, the queue resumed, the alert
  // closed. False when the alert is not open (a second ending is ignored).
  bool answer(const AlertAnswer& answer);
  // The reply and the rule of a decision: choice 0 passes the app, 1 blocks it, 4 makes a rule
  // (`action` "pass" or "block", `iporport` "IP" or "Port"); any other choice does nothing.
  // `timervalue` is accepted and ignored; `isAuto` makes a whole-app verdict last 30 seconds.
  void sendUserChoice(std::int64_t choice, std::optional<std::string> action, std::optional<std::string> iporport,
                      const std::string& timervalue, bool isAuto, const std::string& subnet);

  Request parameters;

  // True until the request is answered without showing anything.
  std::atomic<bool> mostro{true};

 private:
  void applyResponsibleApp();
  void passAndLearn();
  // The replies the rules of the managed apps give, and a quiet app's answer; true when the
  // request has been answered. Under the library's lock.
  bool answerByRules();
  // The tests of one rule string of an app in state 4; true when a reply went out.
  bool walkRule(const std::string& rule, std::int64_t state);
  // Answers for an app in quiet time and remembers the address; the caller ends the request.
  void answerQuiet(HXApplication& app, char kind);
  void openAlert();
  void applyAppDuration(HXApplication& app, bool isAuto) const;
  void addRuleEntry(HXApplication& app, bool isNew, const std::string& iporport, const std::string& entry,
                    const std::string& subnet);

  DecisionContext& context_;
  std::atomic<bool> alertOpen_{false};
  // What the alert selected besides the scope: how long an app verdict holds, quiet time.
  AlertAnswer selection_;
  std::string lastReplySuffix_;
};

}  // namespace halvex
