#include "configuration/HXPreferencesController.h"

#include "configuration/HXConfiguration.h"
#include "configuration/HXPreferences.h"
#include "rules/HXApplication.h"

namespace halvex {

void postOptionMessage(DistributedNotificationCenter& center, const char* name, const char* key, bool value) {
  center.postNotificationName(name, optionmessages::kObject, plist::Dictionary{{key, plist::Value(value)}});
}

namespace {

struct TabInfo {
  const char* title;
};
constexpr TabInfo kTabs[] = {
    {"General Preferences"}, {"Notifications Preferences"}, {"Logs Preferences"}, {"Appearance Preferences"}};

std::string integerText(double value) { return std::to_string(static_cast<std::int64_t>(value)); }

}  // namespace

HXPreferencesController::HXPreferencesController(Links links) : links_(std::move(links)) {}

void HXPreferencesController::notify() { changed(); }

void HXPreferencesController::applyTheme() {
  const auto theme = links_.globals.preferences.user().currentTheme;
  if (theme == 0) {
    view.whiteBackground = true;
  } else if (theme == 1) {
    view.appearance = "NSAppearanceNameVibrantDark";
  } else if (theme == 2) {
    if (links_.userDefaults.contains("AppleInterfaceStyle")) {
      view.appearance = "NSAppearanceNameVibrantDark";
    } else {
      view.appearance = "NSAppearanceNameAqua";
      view.whiteBackground = true;
    }
  }
}

void HXPreferencesController::selectTab(std::int64_t index) {
  view.preferencesTabView = index;
  view.segmCtrl = index;
  view.title = kTabs[index].title;
  notify();
}

void HXPreferencesController::openPreferences() {
  applyTheme();
  view.preferencesTabView = 0;
  view.segmCtrl = 0;
  view.title = kTabs[0].title;
  updatePreferencesGUI();
  view.visible = true;
  notify();
}

void HXPreferencesController::tbGeneral() { selectTab(0); }
void HXPreferencesController::tbNotifications() { selectTab(1); }
void HXPreferencesController::tbLogs() { selectTab(2); }
void HXPreferencesController::tbAppearance() { selectTab(3); }

void HXPreferencesController::clickSegmentedControl() {
  if (view.segmCtrl >= 0 && view.segmCtrl < 4) selectTab(view.segmCtrl);
}

void HXPreferencesController::updatePreferencesGUI() {
  // The controls are the main loop's view state: an import's refresh on the synchronised queue
  // redraws them there, as the log's switch and the window's actions write them there.
  if (!links_.globals.mainLoop.isLoopThread()) {
    links_.globals.mainLoop.post([this] { updatePreferencesGUI(); });
    return;
  }
  const auto& g = links_.globals;
  const auto p = g.preferences.configuration();
  const auto u = g.preferences.user();
  const bool notifications = g.enableNotifications;
  const bool logging = g.activateLogging;

  view.notificationsTimeoutSlider.value = p.notificationsTimeOut;
  view.notificationsTimeoutSlider.enabled = notifications;
  view.notificationsTimeoutLabel.text = integerText(p.notificationsTimeOut);
  view.logTimeoutSlider.value = p.connectionsTTL;
  view.logTimeoutSlider.enabled = logging;
  view.logTimeoutLabel.text = integerText(p.connectionsTTL);
  view.manageRoot.state = p.prefsBlockRoot;
  view.logApps.state = logging;
  view.autoUpdateBtn.state = u.autoUpdate;
  view.popSoundBtn = {p.popSound, notifications};
  view.soundMenuBtn.selectedTitle = p.soundName;
  view.soundMenuBtn.enabled = notifications;
  view.timeoutMatrix.selectedRow = p.passAppWhenNotificationExpires ? 1 : 0;
  view.timeoutMatrix.enabled = notifications;
  view.timeoutTemporary = {p.passOrBlockTemp, notifications};
  view.managexpc.state = g.automaticXPC;
  view.logToFile = {g.loggaSuFile, logging};
  view.updateRotationBtn.enabled = logging;
  view.warnOnLocationChange.state = p.displayAlertWhenSwitchingLocationAwarenessPreset;
  view.splashScreen.state = u.displaySplashScreenAtStart;
  view.verifySignature.state = u.verifySignatures;
  view.purgeMatrix.selectedRow = u.dbPurgeOption;
  view.hideSysBinariesBtn.state = u.hideSystemBinaries;
  view.enableDovikInteractionBtn.state = u.enableDovikInteraction;
  view.colorw.color = u.bgColor;
  view.themeMatrix.selectedRow = u.currentTheme;
  view.displayPopoverBg.state = u.displayAppRulePopoverBackground;
  view.toggleNotificationsBtn.state = notifications;
  view.toggleReverseIPAddress = {p.reverseIPAddressInAppsPopover, notifications};
  if (links_.checkRotationSettings) links_.checkRotationSettings();
  view.logFilePathLabel.text = "Log file path: " + links_.paths.agentLogFile();
  notify();
}

void HXPreferencesController::enableLogsOptions() { setLogsOptionsEnabled(true); }
void HXPreferencesController::disableLogsOptions() { setLogsOptionsEnabled(false); }

void HXPreferencesController::setLogsOptionsEnabled(bool enabled) {
  view.logApps.state = enabled;
  view.logTimeoutSlider.enabled = enabled;
  view.logToFile.enabled = enabled;
  view.updateRotationBtn.enabled = enabled;
  notify();
}

void HXPreferencesController::setLogToFileControl(bool state) {
  view.logToFile.state = state;
  notify();
}

void HXPreferencesController::sendToDaemonManageRootOption() {
  postOptionMessage(links_.distributedCenter, optionmessages::kRootPermissions, "prefsBlockRoot",
                    links_.globals.preferences.configuration().prefsBlockRoot);
}

void HXPreferencesController::sendToDaemonManageXPCOption() {
  postOptionMessage(links_.distributedCenter, optionmessages::kXpcOption, "automaticXPC", links_.globals.automaticXPC);
}

void HXPreferencesController::changeManageRoot() {
  links_.globals.preferences.updateConfiguration(
      [&](ConfigurationPreferences& p) { p.prefsBlockRoot = view.manageRoot.state; });
  sendToDaemonManageRootOption();
  notify();
}

void HXPreferencesController::changeManageXPC() {
  const bool on = view.managexpc.state;
  if (on) removeAllXPCServices();
  links_.globals.automaticXPC = on;
  sendToDaemonManageXPCOption();
  notify();
}

void HXPreferencesController::changeWarnSwitchConf() {
  const bool on = view.warnOnLocationChange.state;
  links_.globals.preferences.updateConfiguration(
      [&](ConfigurationPreferences& p) { p.displayAlertWhenSwitchingLocationAwarenessPreset = on; });
  links_.userDefaults.setBool("displayAlertWhenSwitchingLocationAwarenessPreset", on);
  notify();
}

void HXPreferencesController::changeVerifySign() {
  const bool on = view.verifySignature.state;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.verifySignatures = on; });
  links_.userDefaults.setBool("verifySignatures", on);
  if (!links_.globals.notificationOnScreen) updateManagedAppsSignatures();
  notify();
}

void HXPreferencesController::changeHideSysBinaries() {
  const bool on = view.hideSysBinariesBtn.state;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.hideSystemBinaries = on; });
  links_.userDefaults.setBool("hideSystemBinaries", on);
  links_.halvexcontroller.setFilterPredicate(on ? std::optional<std::string>(kHideSystemBinariesPredicate)
                                                : std::nullopt);
  notify();
}

void HXPreferencesController::changeDovikInteraction() {
  const bool on = view.enableDovikInteractionBtn.state;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.enableDovikInteraction = on; });
  links_.userDefaults.setBool("enableDovikInteraction", on);
  notify();
}

void HXPreferencesController::changeDisplaySplash() {
  const bool on = view.splashScreen.state;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.displaySplashScreenAtStart = on; });
  links_.userDefaults.setBool("displaySplashScreenAtStart", on);
  notify();
}

void HXPreferencesController::changeAutoupdate() {
  const bool on = view.autoUpdateBtn.state;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.autoUpdate = on; });
  links_.userDefaults.setBool("autoUpdate", on);
  links_.updatecontroller.invalidateUpdateTimer();
  if (on) {
    links_.updatecontroller.checkForUpdate();
    links_.updatecontroller.startAutoUpdateTimer();
  }
  notify();
}

void HXPreferencesController::changeNotifSound() {
  links_.globals.preferences.updateConfiguration(
      [&](ConfigurationPreferences& p) { p.popSound = view.popSoundBtn.state; });
  notify();
}

void HXPreferencesController::selectSound() {
  const std::string name = view.soundMenuBtn.selectedTitle;
  links_.globals.preferences.updateConfiguration([&](ConfigurationPreferences& p) { p.soundName = name; });
  links_.soundPlayer.play(name);
  notify();
}

void HXPreferencesController::changeNotifTimeout() {
  const double seconds = static_cast<double>(static_cast<std::int64_t>(view.notificationsTimeoutSlider.value));
  links_.globals.preferences.updateConfiguration(
      [&](ConfigurationPreferences& p) { p.notificationsTimeOut = seconds; });
  view.notificationsTimeoutLabel.text = integerText(seconds);
  notify();
}

void HXPreferencesController::changeLogsTimeout() {
  const double seconds = static_cast<double>(static_cast<std::int64_t>(view.logTimeoutSlider.value));
  links_.globals.preferences.updateConfiguration([&](ConfigurationPreferences& p) { p.connectionsTTL = seconds; });
  view.logTimeoutLabel.text = integerText(seconds);
  notify();
}

void HXPreferencesController::changeExpireBehavior() {
  links_.globals.preferences.updateConfiguration([&](ConfigurationPreferences& p) {
    p.passAppWhenNotificationExpires = view.timeoutMatrix.selectedRow != 0;
    p.passOrBlockTemp = view.timeoutTemporary.state;
  });
  notify();
}

void HXPreferencesController::changeLogToFile() {
  links_.globals.loggaSuFile = view.logToFile.state;
  notify();
}

void HXPreferencesController::changeThemeMatrix() {
  const auto theme = view.themeMatrix.selectedRow;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.currentTheme = theme; });
  links_.userDefaults.setInteger("currentTheme", theme);
  if (!links_.userDefaults.boolForKey(preferencekeys::kChangingTheme).value_or(false)) {
    AlertDescription alert;
    alert.messageText = "Done";
    alert.informativeText = "Change will be effective at next login";
    alert.showsSuppressionButton = true;
    links_.dialogs.beginSheet(kWindow, alert, [this](AlertResponse response) {
      if (response.suppressed) links_.userDefaults.setBool(preferencekeys::kChangingTheme, true);
    });
  }
  notify();
}

void HXPreferencesController::changeDisplayPopoverBg() {
  const bool on = view.displayPopoverBg.state;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.displayAppRulePopoverBackground = on; });
  links_.userDefaults.setBool("displayAppRulePopoverBackground", on);
  notify();
}

void HXPreferencesController::setNotificationBackgroundColor() {
  const Color color = view.colorw.color;
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.bgColor = color; });
  links_.userDefaults.setColor("bgColor", color);
  notify();
}

void HXPreferencesController::restoreDefaultNotificationBackgroundColor() {
  const Color color = UserPreferences::windowBackgroundColor();
  links_.globals.preferences.updateUser([&](UserPreferences& u) { u.bgColor = color; });
  links_.userDefaults.setColor("bgColor", color);
  view.colorw.color = color;
  notify();
}

void HXPreferencesController::clickVerifySignatureBtn() { updateManagedAppsSignatures(); }

void HXPreferencesController::resetUserDefaults() {
  // "autoupdate" (which the database never holds) goes, "autoUpdate" stays; so does the theme's
  // warning. Both as designed.
  links_.userDefaults.removeObjectForKey("autoupdate");
  for (const auto& key : preferencekeys::warningKeys())
    if (key != preferencekeys::kChangingTheme) links_.userDefaults.removeObjectForKey(key);
  links_.userDefaults.synchronize();
  AlertDescription alert;
  alert.messageText = "Done";
  alert.informativeText = "All warnings has been restored";
  links_.dialogs.beginSheet(kWindow, alert, [](AlertResponse) {});
}

void HXPreferencesController::removeAllXPCServices() {
  if (links_.globals.notificationOnScreen) return;
  // The library's own operation: through its list, then the snapshot and the send.
  links_.halvexcontroller.removeAllXPCServices();
}

void HXPreferencesController::updateManagedAppsSignatures() {
  links_.globals.synchronizedNotification.asyncBarrier([this] {
    std::lock_guard lock(links_.globals.appsLibraryLock);
    for (const auto& app : links_.halvexcontroller.appsLibrary) app->getSignatureInfo();
    links_.globals.globalAppsArray = links_.halvexcontroller.appsLibrary;
    links_.sendConf();
  });
}

}  // namespace halvex
