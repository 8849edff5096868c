#include "configuration/HXPreferences.h"

namespace halvex {

namespace preferencekeys {

const std::vector<std::string>& configurationKeys() {
  static const std::vector<std::string> keys{"notificationDefaultChoice",
                                             "notificationDefaultTime",
                                             "reverseIPAddressInAppsPopover",
                                             "enableNotifications",
                                             "notificationsTimeOut",
                                             "quietTime",
                                             "quietMaxTime",
                                             "quietButtonState",
                                             "notificationWindowHeight2",
                                             "presetName",
                                             "presetDescription",
                                             "presetLocationID",
                                             "presetLocationName",
                                             "displayAlertWhenSwitchingLocationAwarenessPreset",
                                             "windowStyle",
                                             "xoffset",
                                             "yoffset",
                                             "prefsBlockRoot",
                                             "connectionsTTL",
                                             "activateLogging",
                                             "autoupdate",
                                             "popSound",
                                             "soundName",
                                             "passAppWhenNotificationExpires",
                                             "passOrBlockTemp",
                                             "automaticXPC",
                                             "loggaSuFile",
                                             "isLocked"};
  return keys;
}

const std::vector<std::string>& warningKeys() {
  static const std::vector<std::string> keys{
      kDraggingManagedAddress, kDraggingManagedFolders, kStartingStrategy, kQuitting,     kOverwritingPreset,
      kDeletingPreset,         kEnablingPreset,         kCleaningAllApps,  kChangingTheme};
  return keys;
}

}  // namespace preferencekeys

namespace {

enum class Kind { boolean, integer, real, string };

// The kind of each key of the record. Numbers are numbers: a reader of a boolean accepts an
// integer and the other way round, and a reader of a real accepts an integer.
Kind kindOf(const std::string& key) {
  static const std::vector<std::pair<std::string, Kind>> kinds{
      {"notificationDefaultChoice", Kind::integer},
      {"notificationDefaultTime", Kind::integer},
      {"reverseIPAddressInAppsPopover", Kind::boolean},
      {"enableNotifications", Kind::boolean},
      {"notificationsTimeOut", Kind::real},
      {"quietTime", Kind::real},
      {"quietMaxTime", Kind::real},
      {"quietButtonState", Kind::integer},
      {"notificationWindowHeight2", Kind::real},
      {"presetName", Kind::string},
      {"presetDescription", Kind::string},
      {"presetLocationID", Kind::string},
      {"presetLocationName", Kind::string},
      {"displayAlertWhenSwitchingLocationAwarenessPreset", Kind::boolean},
      {"windowStyle", Kind::string},
      {"xoffset", Kind::real},
      {"yoffset", Kind::real},
      {"prefsBlockRoot", Kind::boolean},
      {"connectionsTTL", Kind::real},
      {"activateLogging", Kind::boolean},
      {"autoupdate", Kind::boolean},
      {"popSound", Kind::boolean},
      {"soundName", Kind::string},
      {"passAppWhenNotificationExpires", Kind::boolean},
      {"passOrBlockTemp", Kind::boolean},
      {"automaticXPC", Kind::boolean},
      {"loggaSuFile", Kind::boolean},
      {"isLocked", Kind::boolean}};
  for (const auto& [name, kind] : kinds)
    if (name == key) return kind;
  return Kind::string;
}

std::optional<bool> readBool(const plist::Value& v) {
  if (auto b = v.asBool()) return b;
  if (auto i = v.asInteger()) return *i != 0;
  return std::nullopt;
}

std::optional<std::int64_t> readInteger(const plist::Value& v) {
  if (auto i = v.asInteger()) return i;
  if (auto b = v.asBool()) return *b ? 1 : 0;
  return std::nullopt;
}

bool fits(const plist::Value& v, Kind kind) {
  switch (kind) {
    case Kind::boolean: return readBool(v).has_value();
    case Kind::integer: return readInteger(v).has_value();
    case Kind::real: return v.asReal().has_value();
    case Kind::string: return v.asString() != nullptr;
  }
  return false;
}

}  // namespace

plist::Dictionary preferencesRecord(const ConfigurationPreferences& p, const ConfigurationFlags& flags,
                                    bool autoUpdate) {
  using plist::Value;
  return plist::Dictionary{
      {preferencekeys::kHalvexClassName, Value(preferencekeys::kPreferencesClass)},
      {"notificationDefaultChoice", Value(p.notificationDefaultChoice)},
      {"notificationDefaultTime", Value(p.notificationDefaultTime)},
      {"reverseIPAddressInAppsPopover", Value(p.reverseIPAddressInAppsPopover)},
      {"enableNotifications", Value(flags.enableNotifications)},
      {"notificationsTimeOut", Value(p.notificationsTimeOut)},
      {"quietTime", Value(p.quietTime)},
      {"quietMaxTime", Value(p.quietMaxTime)},
      {"quietButtonState", Value(p.quietButtonState)},
      {"notificationWindowHeight2", Value(p.notificationWindowHeight2)},
      {"presetName", Value(p.presetName)},
      {"presetDescription", Value(p.presetDescription)},
      {"presetLocationID", Value(p.presetLocationID)},
      {"presetLocationName", Value(p.presetLocationName)},
      {"displayAlertWhenSwitchingLocationAwarenessPreset", Value(p.displayAlertWhenSwitchingLocationAwarenessPreset)},
      {"windowStyle", Value(p.windowStyle)},
      {"xoffset", Value(p.xoffset)},
      {"yoffset", Value(p.yoffset)},
      {"prefsBlockRoot", Value(p.prefsBlockRoot)},
      {"connectionsTTL", Value(p.connectionsTTL)},
      {"activateLogging", Value(flags.activateLogging)},
      {"autoupdate", Value(autoUpdate)},
      {"popSound", Value(p.popSound)},
      {"soundName", Value(p.soundName)},
      {"passAppWhenNotificationExpires", Value(p.passAppWhenNotificationExpires)},
      {"passOrBlockTemp", Value(p.passOrBlockTemp)},
      {"automaticXPC", Value(flags.automaticXPC)},
      {"loggaSuFile", Value(flags.loggaSuFile)},
      {"isLocked", Value(flags.isLocked)}};
}

std::string preferencesRecordProblem(const plist::Dictionary& record) {
  for (const auto& key : preferencekeys::configurationKeys()) {
    const auto* v = record.find(key);
    if (v && !fits(*v, kindOf(key))) return "key " + key + " holds a " + plist::typeName(v->type());
  }
  return {};
}

bool applyPreferencesRecord(const plist::Dictionary& record, ConfigurationPreferences& p, ConfigurationFlags& flags) {
  auto boolean = [&](const char* key, bool& target) {
    if (const auto* v = record.find(key))
      if (auto b = readBool(*v)) target = *b;
  };
  auto integer = [&](const char* key, std::int64_t& target) {
    if (const auto* v = record.find(key))
      if (auto i = readInteger(*v)) target = *i;
  };
  auto real = [&](const char* key, double& target) {
    if (const auto* v = record.find(key))
      if (auto d = v->asReal()) target = *d;
  };
  auto text = [&](const char* key, std::string& target) {
    if (const auto* v = record.find(key))
      if (const auto* s = v->asString()) target = *s;
  };

  integer("notificationDefaultChoice", p.notificationDefaultChoice);
  integer("notificationDefaultTime", p.notificationDefaultTime);
  boolean("reverseIPAddressInAppsPopover", p.reverseIPAddressInAppsPopover);
  boolean("enableNotifications", flags.enableNotifications);
  real("notificationsTimeOut", p.notificationsTimeOut);
  real("quietTime", p.quietTime);
  integer("quietButtonState", p.quietButtonState);
  real("notificationWindowHeight2", p.notificationWindowHeight2);
  text("presetName", p.presetName);
  text("presetDescription", p.presetDescription);
  // The location's identifier is read into the description; its own variable is left alone.
  text("presetLocationID", p.presetDescription);
  text("presetLocationName", p.presetLocationName);
  boolean("displayAlertWhenSwitchingLocationAwarenessPreset", p.displayAlertWhenSwitchingLocationAwarenessPreset);
  text("windowStyle", p.windowStyle);
  real("xoffset", p.xoffset);
  real("yoffset", p.yoffset);
  boolean("prefsBlockRoot", p.prefsBlockRoot);
  real("connectionsTTL", p.connectionsTTL);
  boolean("activateLogging", flags.activateLogging);

  // Keys whose absence sets a value of its own.
  p.popSound = false;
  boolean("popSound", p.popSound);
  p.soundName = "Morse";
  text("soundName", p.soundName);
  p.passAppWhenNotificationExpires = true;
  boolean("passAppWhenNotificationExpires", p.passAppWhenNotificationExpires);
  p.passOrBlockTemp = true;
  boolean("passOrBlockTemp", p.passOrBlockTemp);
  flags.loggaSuFile = false;
  boolean("loggaSuFile", flags.loggaSuFile);
  flags.isLocked = false;
  boolean("isLocked", flags.isLocked);
  flags.automaticXPC = false;
  const bool oldConfiguration = !record.contains("automaticXPC");
  boolean("automaticXPC", flags.automaticXPC);
  return oldConfiguration;
}

}  // namespace halvex
