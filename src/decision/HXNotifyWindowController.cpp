#include "decision/HXNotifyWindowController.h"

#include <array>
#include <mutex>

#include "decision/AlertAnswers.h"
#include "decision/AlertPresenter.h"
#include "link/ProcessAttribution.h"
#include "link/managesocketagent.h"
#include "rules/AppPaths.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "rules/RulesContext.h"

namespace halvex {
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
  // The password database and the login manager may be slow (a directory server): ask them here,
  // on the held queue, so that the main loop never waits for them.
  const Request& r = parameters;
  userName_ = context_.processOwners.userName(r.processUID).value_or(std::to_string(r.processUID));
  consoleUsersProcess_ = terminateProcessMenuItemVisible(std::to_string(r.processUID), context_.processOwners);
  auto self = shared_from_this();
  context_.globals.mainLoop.post([self] {
    self->context_.globals.notificationOnScreen = true;
    self->alertOpen_ = true;
    self->context_.alertAnswers.opened(self, self->parameters.tagNotify);
    self->windowDidLoad();
    self->mostra();
  });
}

bool HXNotifyWindowController::claimEnding() {
  // Exactly one ending: whichever comes first in the loop turn wins, the rest find it ended.
  return alertOpen_.exchange(false);
}

void HXNotifyWindowController::finishAlert(AlertEnding how) {
  // The queue runs on already: the next request may be deciding while the window goes.
  updateNotifyWindowGlobalSize();
  context_.globals.notificationOnScreen = false;
  svuotaTutto();
  window.shown = false;
  context_.alertAnswers.closed(parameters.tagNotify);
  context_.alertPresenter.close(*this, how, lastReplySuffix_);
  changed();
}

void HXNotifyWindowController::updateDescription() {
  // Most redraws are the time bar's ticks: the sentence is built again only when a field changed,
  // and the fields are compared where they stand, not copied.
  const std::array<const std::string*, 6> fields{&window.attributedAppName, &window.attributedProtocol,
                                                 &window.attributedAddress, &window.attributedPort,
                                                 &window.attributedUser,    &window.attributedNation};
  bool same = !window.descriptionString.empty();
  for (std::size_t i = 0; same && i < fields.size(); ++i) same = *fields[i] == describedFields_[i];
  if (same) return;
  for (std::size_t i = 0; i < fields.size(); ++i) describedFields_[i] = *fields[i];
  window.descriptionString =
      generateAttributedDescriptionWithProc(*fields[0], *fields[1], *fields[2], *fields[3], *fields[4], *fields[5]);
}

void HXNotifyWindowController::refresh() {
  updateDescription();
  if (window.shown) context_.alertPresenter.redraw(*this);
  changed();
}

bool HXNotifyWindowController::appExistsInGlobalArray(const std::string& path) const {
  return getAppFromGlobalArray(path) != nullptr;
}

std::shared_ptr<HXApplication> HXNotifyWindowController::getAppFromGlobalArray(const std::string& path) const {
  std::lock_guard lock(context_.globals.appsLibraryLock);
  return findAppForPath(context_.globals.globalAppsArray, path);
}

}  // namespace halvex
