#include "decision/HXNotifyWindowController.h"

#include <mutex>

#include "decision/AlertAnswers.h"
#include "decision/AlertPresenter.h"
#include "link/managesocketagent.h"
#include "rules/AppPaths.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "rules/RulesContext.h"

namespace halvex {
namespace {

// An app verdict given by the alert's expiry holds for this long.
constexpr double kAutomaticVerdictSeconds = 30;

bool hasEntry(const HXApplication& app, const std::string& entry) {
  for (const auto& existing : app.appMatches)
    if (existing == entry) return true;
  return false;
}

}  // namespace

HXNotifyWindowController::HXNotifyWindowController(DecisionContext& context) : context_(context) {}

void HXNotifyWindowController::setNotifyParameters(Request request) {
  parameters = std::move(request);
  if (context_.globals.automaticXPC) applyResponsibleApp();

  if (context_.globals.enableNotifications) {
    checkExistingRules();
  } else {
    passAndLearn();
  }
}

void HXNotifyWindowController::applyResponsibleApp() {
  // A helper service speaks for the application that started it.
  if (parameters.responsibleApp == 0) return;
  if (parameters.processName.find(".xpc/Contents/") == std::string::npos) return;
  const auto path = context_.mymanagesocketagent.infoprocess(parameters.responsibleApp);
  if (path != "error") parameters.processName = path;
}

void HXNotifyWindowController::passAndLearn() {
  // The controller keeps itself alive: resumeQueue removes it from notifyControllers.
  auto self = shared_from_this();
  context_.globals.mainLoop.postAndWait([self] {
    if (!self->mostro) return;
    self->reply(kReplyPassApp);
    // With alerts off every asking process is learnt as a permanent pass rule.
    auto& globals = self->context_.globals;
    if (!self->appExistsInGlobalArray(self->parameters.processName)) {
      auto app = generateHXApplication(self->context_.rulesContext, 0, self->parameters.processName);
      app->appIsPersistent = true;
      {
        std::lock_guard lock(globals.appsLibraryLock);
        globals.globalAppsArray.insert(globals.globalAppsArray.begin(), app);
      }
      globals.notificationCenter.post("copyArrayAppLibrary");
    }
    self->resumeQueue(self->parameters.tagNotify);
  });
}

void HXNotifyWindowController::reply(std::string_view suffix) {
  lastReplySuffix_ = std::string(suffix);
  context_.mymanagesocketagent.sendsocketagent(parameters.originalRequestString + lastReplySuffix_);
}

void HXNotifyWindowController::resumeQueue(const std::string& tag) {
  auto self = shared_from_this();
  context_.globals.notifyControllers.erase(tag);
  context_.globals.synchronizedNotification.resume();
}

void HXNotifyWindowController::openAlert() {
  if (!mostro) return;
  auto self = shared_from_this();
  context_.globals.mainLoop.post([self] {
    self->context_.globals.notificationOnScreen = true;
    self->alertOpen_ = true;
    self->context_.alertAnswers.opened(self, self->parameters.tagNotify);
    self->context_.alertPresenter.mostra(Alert{self->parameters});
  });
}

bool HXNotifyWindowController::answer(const AlertAnswer& answer) {
  // Exactly one ending: whichever comes first in the loop turn wins, the rest find it closed.
  if (!alertOpen_.exchange(false)) return false;
  auto self = shared_from_this();
  context_.alertAnswers.closed(parameters.tagNotify);
  selection_ = answer;
  const std::string verdict = answer.pass ? "pass" : "block";
  switch (answer.scope) {
    case AlertScope::app: sendUserChoice(answer.pass ? 0 : 1, std::nullopt, std::nullopt, "", false, ""); break;
    case AlertScope::port: sendUserChoice(4, verdict, "Port", "", false, ""); break;
    case AlertScope::address: sendUserChoice(4, verdict, "IP", "", false, ""); break;
    case AlertScope::network: sendUserChoice(4, verdict, "IP", "", false, answer.network); break;
  }
  context_.globals.notificationOnScreen = false;
  context_.alertPresenter.close(Alert{parameters}, "answered", lastReplySuffix_);
  return true;
}

void HXNotifyWindowController::sendUserChoice(std::int64_t choice, std::optional<std::string> action,
                                              std::optional<std::string> iporport, const std::string& /*timervalue*/,
                                              bool isAuto, const std::string& subnet) {
  auto& globals = context_.globals;
  const std::string& path = parameters.processName;
  // The app and the mirror change here, on the main loop, while readers elsewhere hold the lock.
  std::lock_guard lock(globals.appsLibraryLock);

  if (choice == 0 || choice == 1) {
    const bool known = appExistsInGlobalArray(path);
    reply(" " + std::to_string(choice) + " # #");
    auto app = known ? getAppFromGlobalArray(path) : generateHXApplication(context_.rulesContext, choice, path);
    if (known) app->setRule(choice);
    applyAppDuration(*app, isAuto);
    if (!known) {
      globals.globalAppsArray.insert(globals.globalAppsArray.begin(), app);
      globals.notificationCenter.post("copyArrayAppLibrary");
    }
    resumeQueue(parameters.tagNotify);
    return;
  }
  if (choice != 4) return;

  const std::string actionDigit = action == "pass" ? "0" : action == "block" ? "1" : "";
  const std::string kindDigit = iporport == "IP" ? "0" : iporport == "Port" ? "1" : "";
  reply(" 4 " + kindDigit + " " + actionDigit);
  if (!iporport) return;

  const bool known = appExistsInGlobalArray(path);
  auto app = known ? getAppFromGlobalArray(path) : generateHXApplication(context_.rulesContext, 4, path);
  if (selection_.quiet && action) app->setQuiet(*action, globals.preferences.configuration().quietTime);

  const std::string prefix = action == "pass" ? "@" : "#";
  const std::string value =
      *iporport == "IP" ? (subnet.empty() ? parameters.processIP : subnet) : parameters.processPort;
  addRuleEntry(*app, !known, *iporport, prefix + value, subnet);
  resumeQueue(parameters.tagNotify);
}

void HXNotifyWindowController::applyAppDuration(HXApplication& app, bool isAuto) const {
  switch (selection_.duration) {
    case AppDuration::forever: app.appIsPersistent = true; break;
    case AppDuration::untilLogout:
      // No timer: the app lives until the agent quits, since snapshots leave it out.
      app.appIsPersistent = false;
      app.appHasTimer = true;
      break;
    case AppDuration::minutes:
      app.appIsPersistent = false;
      app.setAppTimer(static_cast<double>(selection_.minutes) * 60);
      app.appHasTimer = true;
      break;
  }
  if (isAuto) {
    app.appIsPersistent = false;
    app.setAppTimer(kAutomaticVerdictSeconds);
    app.appHasTimer = true;
  }
}

void HXNotifyWindowController::addRuleEntry(HXApplication& app, bool isNew, const std::string& iporport,
                                            const std::string& entry, const std::string& subnet) {
  auto& globals = context_.globals;
  // A port rule of a known app goes to the front of its list, an address rule to the end; a
  // repeat adds nothing.
  if (!hasEntry(app, entry)) {
    if (iporport == "Port") {
      app.appMatches.insert(app.appMatches.begin(), entry);
    } else {
      app.appMatches.push_back(entry);
    }
  }
  if (isNew) {
    globals.globalAppsArray.insert(globals.globalAppsArray.begin(), app.shared_from_this());
    globals.notificationCenter.post("copyArrayAppLibrary");
    if (iporport == "IP") globals.notificationCenter.post("sendConfiguration");
  } else if (iporport == "IP" && !subnet.empty()) {
    globals.notificationCenter.post("sendConfiguration");
  }
}

bool HXNotifyWindowController::appExistsInGlobalArray(const std::string& path) const {
  return getAppFromGlobalArray(path) != nullptr;
}

std::shared_ptr<HXApplication> HXNotifyWindowController::getAppFromGlobalArray(const std::string& path) const {
  std::lock_guard lock(context_.globals.appsLibraryLock);
  return findAppForPath(context_.globals.globalAppsArray, path);
}

}  // namespace halvex
