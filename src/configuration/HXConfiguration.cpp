#include "configuration/HXConfiguration.h"

#include <exception>

#include "configuration/HXPreferences.h"
#include "configuration/HXPreferencesController.h"
#include "platform/BundleInfo.h"
#include "rules/HXApplication.h"
#include "rules/HXExclusion.h"
#include "rules/HXManagedRecords.h"
#include "runtime/PlistIO.h"

namespace halvex {

using namespace configurationnotifications;

namespace {

bool endsWith(std::string_view s, std::string_view suffix) {
  return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

ConfigurationFlags flagsOf(const Globals& g) {
  return ConfigurationFlags{g.enableNotifications, g.activateLogging, g.automaticXPC, g.loggaSuFile, g.isLocked};
}

void storeFlags(Globals& g, const ConfigurationFlags& f) {
  g.enableNotifications = f.enableNotifications;
  g.activateLogging = f.activateLogging;
  g.automaticXPC = f.automaticXPC;
  g.loggaSuFile = f.loggaSuFile;
  g.isLocked = f.isLocked;
}

constexpr const char* kXpcQuestionText =
    "You are about to activate an old Halvex configuration where 'Automatic XPC Management' option is not set.\n"
    "This  feature simplifies firewall use and allows a more powerful set of rules. Activating this option removes "
    "all XPC services from current managed apps. XPC services connections will be matched against their "
    "responsible app accordingly, instead of being managed independently.\n\nDo you want to enable automatic XPC "
    "management?\nYou can also enable this feature later from Halvex Preferences.";

}  // namespace

HXConfiguration::HXConfiguration(Links links) : links_(links) {
  customPresetObserver_ =
      links_.globals.notificationCenter.addObserver(kLoadCustomPreset, [this](const Notification& n) {
        if (const auto* path = n.userInfo.find("presetPath"); path && path->asString())
          loadCustomPreset(*path->asString());
      });
}

HXConfiguration::~HXConfiguration() { links_.globals.notificationCenter.removeObserver(customPresetObserver_); }

bool HXConfiguration::requestHoldsQueue() const {
  const auto& g = links_.globals;
  return g.notificationOnScreen || g.synchronizedNotification.suspendCount() > 0;
}

bool HXConfiguration::onQueue(const char* what, const std::function<void()>& work) {
  auto& queue = links_.globals.synchronizedNotification;
  if (queue.isCurrent()) {
    work();
    return true;
  }
  // An open request holds the queue until it is answered, and its answer needs the main loop (the
  // alert, or the learning of the app with alerts off): the main loop must not wait for the queue
  // then, or the agent stops.
  if (links_.globals.mainLoop.isLoopThread() && requestHoldsQueue()) {
    links_.logger.log(std::string("[HALVEX AGENT] ") + what + " refused while a request is open");
    return false;
  }
  // The caller waits, so whatever escapes the block is the caller's to see.
  std::exception_ptr escaped;
  queue.syncBarrier([&] {
    try {
      work();
    } catch (...) {
      escaped = std::current_exception();
    }
  });
  if (escaped) std::rethrow_exception(escaped);
  return true;
}

void HXConfiguration::sendConf() {
  std::lock_guard lock(links_.globals.appsLibraryLock);
  const auto& records = links_.recordscontroller.recordsLibrary;
  links_.distributedCenter.postNotificationName(
      kNewAppListReceived, kNewAppListReceivedObject,
      compactAppList(links_.halvexcontroller.appsLibrary, links_.globals.globalExclusionsArray, records));
}

void HXConfiguration::exportConf(const std::string& path, bool encodeConf, bool sendDaemon, bool exitAgent) {
  if (exitAgent) {
    // The queue may no longer be served during exit.
    exportNow(path, encodeConf, sendDaemon);
    return;
  }
  onQueue("export", [&] { exportNow(path, encodeConf, sendDaemon); });
}

void HXConfiguration::exportNow(const std::string& path, bool encodeConf, bool sendDaemon) {
  auto& g = links_.globals;
  const auto user = g.preferences.user();
  auto preferences = preferencesRecord(g.preferences.configuration(), flagsOf(g), user.autoUpdate);
  // The label colours go with every export, into the database rather than the snapshot.
  links_.userDefaults.setColor("color0", user.colors.color0);
  links_.userDefaults.setColor("color1", user.colors.color1);
  links_.userDefaults.setColor("color2", user.colors.color2);
  links_.userDefaults.setColor("color3", user.colors.color3);
  links_.userDefaults.setColor("color4b", user.colors.color4b);

  // The apps are read under the library's lock: the main loop may be editing them. Writes are
  // not checked: a failed export is silent.
  if (!encodeConf) {
    std::string xml;
    {
      std::lock_guard lock(g.appsLibraryLock);
      xml = plainConfigurationXml(std::move(preferences), g.globalExclusionsArray, g.globalRecordsArray,
                                  g.globalAppsArray);
    }
    links_.fileSystem.writeFileAtomically(path, xml);
    return;
  }
  plist::Array records;
  {
    std::lock_guard lock(g.appsLibraryLock);
    records = classRecords(std::move(preferences), g.globalExclusionsArray, g.globalRecordsArray, g.globalAppsArray);
  }
  auto wrapper = encodedConfiguration(records, g.version);
  if (sendDaemon) {
    links_.distributedCenter.postNotificationName(kWriteHalvexConfiguration, kWriteHalvexConfigurationObject, wrapper);
    return;
  }
  links_.fileSystem.writeFileAtomically(path,
                                        plist::toXml(plist::Value(plist::Array{plist::Value(std::move(wrapper))})));
}

void HXConfiguration::importConf(const std::string& path, bool /*decodeConf*/) {
  onQueue("import", [&] { importNow(path); });
}

void HXConfiguration::importNow(const std::string& path) {
  auto& g = links_.globals;
  if (!links_.fileSystem.fileExists(path)) return;
  const auto bytes = links_.fileSystem.readFile(path);
  if (!bytes) {
    links_.logger.log("[HALVEX AGENT] configuration " + path + " cannot be read; nothing imported");
    return;
  }
  // Everything is read and checked before anything is replaced: a file that is no configuration
  // ends the process while the daemon and the saved files still hold the last good rules.
  auto read = readSnapshot(*bytes);
  if (auto* error = std::get_if<SnapshotError>(&read)) {
    const std::string message = "[HALVEX AGENT] configuration " + path + " is malformed: " + error->message;
    links_.logger.log(message);
    links_.processControl.fatal(message);
  }
  const SnapshotContents& contents = std::get<SnapshotContents>(read);

  progr.animating = true;
  progr.hidden = false;
  g.enableNotifications = false;

  // The apps, made first; then the library (through its controller, so that the views follow)
  // and its mirror are replaced in one step under the library's lock.
  std::vector<std::shared_ptr<HXApplication>> apps;
  apps.reserve(contents.apps.size());
  for (const auto& record : contents.apps) {
    const std::string appPath = repairedBundlePath(record.appPath, record.appIsBundle);
    auto app = HXApplication::initWithAppName(links_.rulesContext, record.appName, record.appBinaries,
                                              record.appIsBundle, record.appIsBlockedOrAllowed == 1, appPath);
    app->setRule(record.appIsBlockedOrAllowed);
    // A snapshot may hold entries under a pure state; they stay.
    app->appMatches = record.appMatches;
    std::string shown = record.appName;
    if (record.appIsBlockedOrAllowed == 4) app->appIsYellow = true;
    if (endsWith(shown, ".app")) {
      shown.resize(shown.size() - 4);
      if (auto display = bundleDisplayName(appPath)) shown = *display;
    }
    app->appLocalizedName = AttributedString::aligned(shown, TextAlignment::left);
    app->appLocalizedNameCentered = AttributedString::aligned(shown, TextAlignment::center);
    app->appIsBlockedOrAllowed = record.appIsBlockedOrAllowed;
    apps.push_back(std::move(app));
  }
  {
    std::lock_guard libraryLock(g.appsLibraryLock);
    g.globalAppsArray = apps;
    links_.halvexcontroller.setAppsLibrary(std::move(apps));
  }

  // The preferences: a later record wins for what it holds.
  bool oldConfiguration = false;
  auto flags = flagsOf(g);
  g.preferences.updateConfiguration([&](ConfigurationPreferences& preferences) {
    for (const auto& record : contents.preferences)
      oldConfiguration = applyPreferencesRecord(record, preferences, flags) || oldConfiguration;
  });
  storeFlags(g, flags);
  if (oldConfiguration) askAboutAutomaticXPC();

  // The managed folders.
  links_.exclusioncontroller.exlusionsLibrary.clear();
  g.globalExclusionsArray.clear();
  for (const auto& record : contents.exclusions) {
    auto exclusion =
        std::make_shared<HXExclusion>(links_.rulesContext, record.path, record.rule, record.ignored, record.hardcoded);
    links_.exclusioncontroller.exlusionsLibrary.push_back(exclusion);
    g.globalExclusionsArray.push_back(std::move(exclusion));
  }

  // The global rules.
  std::vector<std::shared_ptr<HXManagedRecords>> records;
  for (const auto& record : contents.records)
    records.push_back(std::make_shared<HXManagedRecords>(record.record, record.type, record.rule));
  links_.recordscontroller.recordsLibrary = records;
  g.globalRecordsArray = std::move(records);

  // Refresh the views and the timers.
  const auto user = g.preferences.user();
  links_.preferencescontroller.updatePreferencesGUI();
  links_.exclusioncontroller.drawTable();
  links_.halvexcontroller.updateToolbarLeds();
  links_.connectioncontroller.loggingControl();
  if (user.autoUpdate) links_.updatecontroller.startAutoUpdateTimer();
  else links_.updatecontroller.invalidateUpdateTimer();

  sendConf();
  const auto preferences = g.preferences.configuration();
  postOptionMessage(links_.distributedCenter, optionmessages::kRootPermissions, "prefsBlockRoot",
                    preferences.prefsBlockRoot);
  postOptionMessage(links_.distributedCenter, optionmessages::kXpcOption, "automaticXPC", g.automaticXPC);
  links_.halvexcontroller.updateColorsInPopover();
  links_.halvexcontroller.updateAllAppsLabelsColors();

  // The filter is the grid's, which lives on the main loop.
  const bool hideSystemBinaries = user.hideSystemBinaries;
  links_.globals.mainLoop.post([this, hideSystemBinaries] {
    if (hideSystemBinaries) links_.halvexcontroller.setFilterPredicate(kHideSystemBinariesPredicate);
    progr.animating = false;
    progr.hidden = true;
  });
}

void HXConfiguration::askAboutAutomaticXPC() {
  AlertDescription alert;
  alert.messageText = "Enable automatic XPC services management?";
  alert.informativeText = kXpcQuestionText;
  alert.icon = "NSCaution";
  alert.buttons = {"Enable", "Keep disabled"};
  // The import goes on; the answer comes later on the main loop.
  links_.globals.mainLoop.post([this, alert] {
    links_.halvexcontroller.showMainWindow();
    links_.dialogs.beginSheet("window", alert, [this](AlertResponse response) {
      if (response.button != 1000) return;
      links_.globals.automaticXPC = true;
      links_.preferencescontroller.removeAllXPCServices();
      postOptionMessage(links_.distributedCenter, optionmessages::kXpcOption, "automaticXPC", true);
    });
  });
}

std::optional<std::string> HXConfiguration::bundleDisplayName(const std::string& appPath) const {
  if (!links_.fileSystem.fileExists(appPath)) return std::nullopt;
  auto name = links_.rulesContext.bundleInfo.localizedDisplayName(appPath);
  if (!name || name->empty()) return std::nullopt;
  return name;
}

void HXConfiguration::loadConfiguration() {
  const std::string conf = confPath();
  const bool haveConf = links_.fileSystem.fileExists(conf);
  const std::string path = haveConf ? conf : links_.paths.resource("preset0", "plist");
  if (!haveConf && !links_.fileSystem.fileExists(path))
    links_.logger.log("[HALVEX AGENT] no configuration and no first-run defaults at " + path);
  importConf(path, true);
}

void HXConfiguration::readUserDefaults() {
  auto& d = links_.userDefaults;
  auto& g = links_.globals;
  g.preferences.updateUser([&](UserPreferences& u) {
    auto color = [&](const char* key, Color& target) {
      if (d.contains(key))
        if (auto c = d.colorForKey(key)) target = *c;
    };
    auto boolean = [&](const char* key, bool& target) {
      if (d.contains(key))
        if (auto b = d.boolForKey(key)) target = *b;
    };
    auto integer = [&](const char* key, std::int64_t& target) {
      if (d.contains(key))
        if (auto i = d.integerForKey(key)) target = *i;
    };
    color("color0", u.colors.color0);
    color("color1", u.colors.color1);
    color("color2", u.colors.color2);
    color("color3", u.colors.color3);
    color("color4b", u.colors.color4b);
    boolean("autoUpdate", u.autoUpdate);
    boolean("displaySplashScreenAtStart", u.displaySplashScreenAtStart);
    boolean("verifySignatures", u.verifySignatures);
    integer("dbPurgeOption", u.dbPurgeOption);
    boolean("hideSystemBinaries", u.hideSystemBinaries);
    boolean("enableDovikInteraction", u.enableDovikInteraction);
    integer("actionTab", u.actionTab);
    boolean("showMoreOptions", u.showMoreOptions);
    color("bgColor", u.bgColor);
    integer("currentTheme", u.currentTheme);
    boolean("displayAppRulePopoverBackground", u.displayAppRulePopoverBackground);
    if (auto v = d.objectForKey("mainWindowHeight"); v && v->type() == plist::Value::Type::Real)
      u.mainWindowHeight = *v->asReal();
    if (d.contains("UseAlternateIcons")) u.UseAlternateIcons = d.boolForKey("UseAlternateIcons");
  });
  // The alert's box of scopes opens as it was left; that state lives on the main loop.
  const bool moreOptions = g.preferences.user().showMoreOptions;
  auto setMoreOptions = [&g, moreOptions] { g.moreOptionsOpen = moreOptions; };
  if (g.mainLoop.isLoopThread()) {
    setMoreOptions();
  } else {
    g.mainLoop.post(setMoreOptions);
  }
  if (d.contains("displayAlertWhenSwitchingLocationAwarenessPreset"))
    if (auto b = d.boolForKey("displayAlertWhenSwitchingLocationAwarenessPreset"))
      g.preferences.updateConfiguration(
          [&](ConfigurationPreferences& p) { p.displayAlertWhenSwitchingLocationAwarenessPreset = *b; });
}

void HXConfiguration::exportConfToFile() {
  if (requestHoldsQueue()) return;
  if (auto path = links_.dialogs.runFilePanel({"Export Halvex configuration to file", true}))
    exportConf(*path, false, false, false);
}

void HXConfiguration::exportEncodedConfToFile() {
  if (requestHoldsQueue()) return;
  if (auto path = links_.dialogs.runFilePanel({"Export Halvex configuration to file", true}))
    exportConf(*path, true, false, false);
}

void HXConfiguration::importConfFromFile() {
  if (requestHoldsQueue()) return;
  if (auto path = links_.dialogs.runFilePanel({"Import Halvex configuration from file", false}))
    importConf(*path, false);
}

void HXConfiguration::importEncodedConfFromFile() {
  if (requestHoldsQueue()) return;
  if (auto path = links_.dialogs.runFilePanel({"Import Halvex configuration from file", false}))
    importConf(*path, true);
}

void HXConfiguration::loadCustomPreset(const std::string& presetPath) { importConf(presetPath, true); }

}  // namespace halvex
