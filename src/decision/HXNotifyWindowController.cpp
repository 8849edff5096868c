#include "decision/HXNotifyWindowController.h"

#include <mutex>

#include "link/RequestLine.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "link/managesocketagent.h"

namespace halvex {

HXNotifyWindowController::HXNotifyWindowController(DecisionContext& context) : context_(context) {}

void HXNotifyWindowController::setNotifyParameters(std::string processPid, std::string processName,
                                                   std::string processUID, std::string processIP,
                                                   std::string processPort, std::string processUDPorTCP,
                                                   std::string processIPversion, std::string originalRequestString,
                                                   std::string tagNotify, std::string responsibleApp) {
  parameterProcessPid = std::move(processPid);
  parameterProcessName = std::move(processName);
  parameterProcessUID = std::move(processUID);
  parameterProcessIP = std::move(processIP);
  parameterProcessPort = std::move(processPort);
  parameterProcessUDPorTCP = std::move(processUDPorTCP);
  parameterProcessIPversion = std::move(processIPversion);
  parameterOriginalRequestString = std::move(originalRequestString);
  parameterTagString = std::move(tagNotify);
  parameterResponsibleApp = std::move(responsibleApp);

  if (context_.globals.automaticXPC) applyResponsibleApp();

  if (context_.globals.enableNotifications) {
    checkExistingRules();
  } else {
    passAndLearn();
  }
}

void HXNotifyWindowController::applyResponsibleApp() {
  // A helper service speaks for the application that started it.
  if (parameterResponsibleApp == "0") return;
  if (parameterProcessName.find(".xpc/Contents/") == std::string::npos) return;
  const auto path = context_.mymanagesocketagent.infoprocess(pidFromField(parameterResponsibleApp));
  if (path != "error") parameterProcessName = path;
}

void HXNotifyWindowController::passAndLearn() {
  // The controller keeps itself alive: resumeQueue removes it from notifyControllers.
  auto self = shared_from_this();
  context_.globals.mainLoop.postAndWait([self] {
    if (!self->mostro) return;
    self->reply(kReplyPassApp);
    // With alerts off every asking process is learnt as a permanent pass rule.
    auto& globals = self->context_.globals;
    if (self->context_.rulesContext && !self->appExistsInGlobalArray(self->parameterProcessName)) {
      auto app = generateHXApplication(*self->context_.rulesContext, 0, self->parameterProcessName);
      app->appIsPersistent = true;
      {
        std::lock_guard lock(globals.appsLibraryLock);
        globals.globalAppsArray.insert(globals.globalAppsArray.begin(), app);
      }
      globals.notificationCenter.post("copyArrayAppLibrary");
    }
    self->resumeQueue(self->parameterTagString);
  });
}

void HXNotifyWindowController::reply(std::string_view suffix) {
  context_.mymanagesocketagent.sendsocketagent(parameterOriginalRequestString + std::string(suffix));
}

void HXNotifyWindowController::resumeQueue(const std::string& tag) {
  auto self = shared_from_this();
  context_.globals.notifyControllers.erase(tag);
  context_.globals.synchronizedNotification.resume();
}

}  // namespace halvex
