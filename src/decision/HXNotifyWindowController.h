#pragma once
// The controller of one open request: holds its ten parameters, decides it (by the rules or, with
// alerts off, by passing and learning the app) and finishes it by resuming the synchronised queue.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "decision/DecisionContext.h"

namespace halvex {

class HXApplication;

class HXNotifyWindowController : public std::enable_shared_from_this<HXNotifyWindowController> {
 public:
  explicit HXNotifyWindowController(DecisionContext& context);

  // Stores the parameters in this order, then starts the decision.
  void setNotifyParameters(std::string processPid, std::string processName, std::string processUID,
                           std::string processIP, std::string processPort, std::string processUDPorTCP,
                           std::string processIPversion, std::string originalRequestString, std::string tagNotify,
                           std::string responsibleApp);
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

  std::string parameterProcessPid;
  std::string parameterProcessName;
  std::string parameterProcessUID;
  std::string parameterProcessIP;
  std::string parameterProcessPort;
  std::string parameterProcessUDPorTCP;
  std::string parameterProcessIPversion;
  std::string parameterOriginalRequestString;
  std::string parameterTagString;
  std::string parameterResponsibleApp;

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

  DecisionContext& context_;
};

}  // namespace halvex
