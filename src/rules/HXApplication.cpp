#include "rules/HXApplication.h"

#include <algorithm>
#include <atomic>
#include <chrono>

#include "platform/FileIcons.h"
#include "platform/FileSystem.h"
#include "runtime/NotificationCenter.h"

namespace halvex {

std::shared_ptr<HXApplication> HXApplication::create(const RulesContext& context) {
  return std::make_shared<HXApplication>(Key{}, context);
}

std::shared_ptr<HXApplication> HXApplication::initWithAppName(const RulesContext& context, std::string appName,
                                                              std::vector<std::string> appBinaries, bool appIsBundle,
                                                              bool appIsBlocked, std::string appPath) {
  auto app = create(context);
  app->appName = std::move(appName);
  app->appBinaries = std::move(appBinaries);
  app->appIsBundle = appIsBundle;
  app->appIsBlocked = appIsBlocked;
  app->appPath = std::move(appPath);
  app->appExists = context.fileSystem.fileExists(app->appPath);
  app->setIcon();
  app->appLabelColor = appIsBlocked ? Color::redColor() : Color::labelColor();
  app->getSignatureInfo();
  app->appIsSystemBinary = isSystemBinaryPath(app->appPath, appIsBundle);
  return app;
}

HXApplication::HXApplication(Key, const RulesContext& context) : context_(&context) {}

HXApplication::~HXApplication() {
  if (const auto id = timer.exchange(0)) context_->mainLoop.cancelTimer(id);
  if (const auto id = quietTimer.exchange(0)) context_->mainLoop.cancelTimer(id);
}

void HXApplication::setIcon() {
  if (!appExists) {
    appImage = Image::named("unknownapp");
    return;
  }
  appImage = Image::named(context_->fileIcons.iconNameForFile(appPath));
}

void HXApplication::getSignatureInfo() {
  const bool present = context_->fileSystem.fileExists(appPath);
  appIsSigned = true;
  appHasValidSignature = true;
  appIsSignedByApple = false;
  if (!context_->verifySignaturesIsOn() || !present) return;
  appSignatureInfo.clear();
  if (context_->inspectSignature) context_->inspectSignature(weak_from_this());
}

void HXApplication::setRule(std::int64_t state) {
  appIsBlockedOrAllowed = state;
  appIsBlocked = state == 1 || state == 3;
  appIsYellow = state == 4;
  appRedShadow = state == 2;
  appGreenShadow = state == 3;
  updateLabelColor();
  if (state != 2 && state != 3 && state != 4) appMatches.clear();
  // Going back to asking must not end a running timed rule or quiet time.
  if (state != 4) clearQuietAndTimers();
}

void HXApplication::setAppTimer(double seconds) {
  invalidate(timer);
  timer = scheduleOneShot(seconds, &HXApplication::timer, &HXApplication::expireApp);
}

void HXApplication::stopAppTimer() {
  invalidate(timer);
  appHasTimer = false;
}

void HXApplication::expireApp() {
  context_->notificationCenter.post("expireApp", plist::Dictionary{{"appName", appName}});
}

void HXApplication::setQuiet(std::string_view quiet, double time) {
  if (quiet == "pass") {
    appIsQuietPass = true;
    appIsQuietBlock = false;
  } else if (quiet == "block") {
    appIsQuietBlock = true;
    appIsQuietPass = false;
  }
  // A running quiet time is not extended: its timer keeps running and ends the new one too. Only
  // one timer is kept, so that ending the quiet time (invalidating `quietTimer`) ends all of it,
  // and no forgotten timer ends a later quiet time early.
  if (quietTimer.load() != 0) return;
  quietTimer = scheduleOneShot(time, &HXApplication::quietTimer, &HXApplication::expireQuiet);
}

void HXApplication::expireQuiet() {
  appIsQuietBlock = false;
  appIsQuietPass = false;
  invalidate(quietTimer);
}

void HXApplication::removePassedMatchesWithApp(HXApplication& app) const {
  std::erase_if(app.appMatches, [](const std::string& entry) { return !entry.starts_with('#'); });
}

void HXApplication::removeBlockedMatchesWithApp(HXApplication& app) const {
  std::erase_if(app.appMatches, [](const std::string& entry) { return !entry.starts_with('@'); });
}

void HXApplication::updateLabelColor() {
  const LabelColors colors = context_->currentLabelColors();
  switch (appIsBlockedOrAllowed.load()) {
    case 1: appLabelColor = colors.color1; break;
    case 2: appLabelColor = colors.color2; break;
    case 3: appLabelColor = colors.color3; break;
    case 4: appLabelColor = colors.color4b; break;
    default: appLabelColor = colors.color0; break;
  }
}

bool HXApplication::isSystemBinaryPath(std::string_view appPath, bool appIsBundle) {
  if (appIsBundle) return false;
  return appPath.starts_with("/System/Library/") || appPath.starts_with("/usr/libexec/") ||
         appPath.starts_with("/usr/sbin/");
}

void HXApplication::clearQuietAndTimers() {
  appIsQuietBlock = false;
  appIsQuietPass = false;
  invalidate(quietTimer);
  invalidate(timer);
  appHasTimer = false;
}

void HXApplication::invalidate(AtomicField<TimerId>& field) {
  const TimerId id = field.exchange(0);
  if (id != 0) context_->mainLoop.cancelTimer(id);
}

HXApplication::TimerId HXApplication::scheduleOneShot(double seconds, AtomicField<TimerId> HXApplication::*field,
                                                      void (HXApplication::*action)()) {
  const auto interval =
      std::chrono::duration_cast<MainLoop::Duration>(std::chrono::duration<double>(std::max(0.0, seconds)));
  // The timer learns its own id once scheduled, so that firing marks only itself as done.
  auto ownId = std::make_shared<std::atomic<TimerId>>(0);
  const TimerId id = context_->mainLoop.scheduleTimer(interval, false, [weak = weak_from_this(), ownId, field, action] {
    const auto self = weak.lock();
    if (!self) return;
    (self.get()->*field).compareExchange(ownId->load(), 0);
    (self.get()->*action)();
  });
  ownId->store(id);
  return id;
}

}  // namespace halvex
