#include "agent/AppDelegate.h"

#include <algorithm>

#include "agent/AgentNotifications.h"
#include "configuration/HXConfiguration.h"

namespace halvex {

using namespace agentnotifications;

AppDelegate::AppDelegate(Links links) : links_(std::move(links)) {}

void AppDelegate::applicationDidFinishLaunching() {
  links_.distributedCenter.postNotificationName(kStartKext, kStartKextObject, plist::Dictionary{});

  // From here on every logged line lands in the per-user log file; if it cannot be opened the
  // agent goes on and only the lines are lost.
  links_.streams.redirectStandardError(links_.paths.agentLogFile());
  links_.logger.log("[HALVEX AGENT] starting, version " + links_.globals.version);

  if (checkHalvex()) {
    AlertDescription alert;
    alert.messageText = "Error";
    alert.informativeText = "Halvex Agent is already running. Click 'OK' to close this alert.";
    links_.dialogs.runModal(alert);
    terminate();
    return;
  }
  startapp();
}

bool AppDelegate::checkHalvex() {
  const auto names = links_.runningApplications.localizedNames();
  const auto instances = std::count(names.begin(), names.end(), std::string("Halvex"));
  return instances >= 2;
}

void AppDelegate::startapp() {
  links_.myHXConfiguration.readUserDefaults();
  startHalvex();
}

void AppDelegate::startHalvex() { start(); }

void AppDelegate::start() {
  getVersion();
  // Load the configuration (a barrier on the synchronised queue, waited for): it reaches the
  // daemon before the request reader starts.
  links_.myHXConfiguration.loadConfiguration();
  links_.wakeConnectionLog();
  links_.startRequestReader();
  links_.distributedCenter.postNotificationName(kStartAgent, kStartAgentObject, std::nullopt);
  links_.logger.log("[HALVEX AGENT] request reader scheduled, startAgent posted");
  if (links_.fileSystem.fileExists(links_.paths.debugFlagFile())) links_.globals.debugFlag = true;
}

void AppDelegate::getVersion() { aboutVersionLabel = "Version " + links_.globals.version; }

void AppDelegate::applicationWillTerminate() {
  links_.logger.log("[HALVEX AGENT] terminating");
  // On this thread: the queue may no longer be served. The daemon stores what it is sent.
  links_.myHXConfiguration.exportConf("_", true, true, true);
}

void AppDelegate::terminate() {
  // A second terminate (a signal during the first) must not save twice.
  if (terminating_) return;
  terminating_ = true;
  applicationWillTerminate();
  links_.quitMainLoop(0);
}

void AppDelegate::alternateQuitHalvexAgent() {
  // Behind any open request: the queue is held while a request is decided.
  links_.globals.synchronizedNotification.asyncBarrier([this] {
    links_.distributedCenter.postNotificationName(kStopKext, kStopKextObject, plist::Dictionary{});
    links_.globals.mainLoop.post([this] { terminate(); });
  });
}

}  // namespace halvex
