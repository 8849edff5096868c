#pragma once
// The settings of the program, in their two stores.
//
// Settings of the firewall's behaviour are process-wide variables that travel in every
// configuration (the record "HXPreferences" of a snapshot). Five of them are flags that other
// threads read on the request path; they live as atomics in Globals. The others are held here.
// Settings of the user's taste live in the per-user defaults database and are read once at start
// into UserPreferences.

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "rules/RulesContext.h"
#include "runtime/Graphics.h"
#include "runtime/Plist.h"

namespace halvex {

// The configuration's settings at their values before anything is loaded.
struct ConfigurationPreferences {
  std::int64_t notificationDefaultChoice = 0;
  std::int64_t notificationDefaultTime = 10;
  bool reverseIPAddressInAppsPopover = true;
  double notificationsTimeOut = 60;
  double quietTime = 20;
  double quietMaxTime = 60;
  std::int64_t quietButtonState = 0;
  double notificationWindowHeight2 = 175;
  std::string presetName;
  std::string presetDescription;
  std::string presetLocationID;
  std::string presetLocationName;
  // Also a key of the defaults database: the check box writes both, one variable holds it.
  bool displayAlertWhenSwitchingLocationAwarenessPreset = true;
  std::string windowStyle = "normal";
  double xoffset = 0;
  double yoffset = 0;
  bool prefsBlockRoot = true;
  double connectionsTTL = 30;
  bool popSound = true;
  std::string soundName = "Bottle";
  bool passAppWhenNotificationExpires = true;
  bool passOrBlockTemp = true;
};

// The five configuration flags that Globals keeps as atomics, as one value.
struct ConfigurationFlags {
  bool enableNotifications = false;
  bool activateLogging = false;
  bool automaticXPC = true;
  bool loggaSuFile = false;
  bool isLocked = false;
};

// The settings of the defaults database, at the values that stand when a key is missing.
struct UserPreferences {
  LabelColors colors;
  bool autoUpdate = false;
  bool displaySplashScreenAtStart = true;
  bool verifySignatures = false;
  std::int64_t dbPurgeOption = 0;
  bool hideSystemBinaries = false;
  bool enableDovikInteraction = false;
  std::int64_t actionTab = 0;
  bool showMoreOptions = false;
  Color bgColor = windowBackgroundColor();
  std::int64_t currentTheme = 2;
  bool displayAppRulePopoverBackground = false;
  std::optional<double> mainWindowHeight;
  std::optional<bool> UseAlternateIcons;

  static Color windowBackgroundColor() { return Color{0.925, 0.925, 0.925, 1, "windowBackgroundColor"}; }
};

// Both stores' variables behind one lock: the windows write them on the main thread while an
// import on the synchronised queue replaces them.
class PreferenceState {
 public:
  ConfigurationPreferences configuration() const {
    std::lock_guard lock(mutex_);
    return configuration_;
  }
  void updateConfiguration(const std::function<void(ConfigurationPreferences&)>& change) {
    std::lock_guard lock(mutex_);
    change(configuration_);
  }
  UserPreferences user() const {
    std::lock_guard lock(mutex_);
    return user_;
  }
  void updateUser(const std::function<void(UserPreferences&)>& change) {
    std::lock_guard lock(mutex_);
    change(user_);
  }

 private:
  mutable std::mutex mutex_;
  ConfigurationPreferences configuration_;
  UserPreferences user_;
};

namespace preferencekeys {

inline constexpr const char* kHalvexClassName = "HalvexClassName";
inline constexpr const char* kPreferencesClass = "HXPreferences";

// The configuration's keys, in the order of the record.
const std::vector<std::string>& configurationKeys();

// The warning keys: each true means "do not show this warning again".
inline constexpr const char* kDraggingManagedAddress = "DoNotDisplayWarningWhenDraggingManagedAddress";
inline constexpr const char* kDraggingManagedFolders = "DoNotDisplayWarningWhenDraggingManagedFolders";
inline constexpr const char* kStartingStrategy = "DoNotDisplayWarningWhenStartingStrategy";
inline constexpr const char* kQuitting = "DoNotDisplayWarningWhenQuitting";
inline constexpr const char* kOverwritingPreset = "DoNotDisplayWarningWhenOverwritingPreset";
inline constexpr const char* kDeletingPreset = "DoNotDisplayWarningWhenDeletingPreset";
inline constexpr const char* kEnablingPreset = "DoNotDisplayWarningWhenEnablingPreset";
inline constexpr const char* kCleaningAllApps = "DoNotDisplayWarningWhenCleaningAllApps";
inline constexpr const char* kChangingTheme = "DoNotDisplayWarningWhenChangingTheme";
const std::vector<std::string>& warningKeys();

}  // namespace preferencekeys

// The record "HXPreferences": every configuration key with its variable's value, numbers in
// their own kinds. `autoupdate` carries the database's `autoUpdate`.
plist::Dictionary preferencesRecord(const ConfigurationPreferences& preferences, const ConfigurationFlags& flags,
                                    bool autoUpdate);

// Why a present key cannot be read: its value is of the wrong kind. Empty when all is well.
std::string preferencesRecordProblem(const plist::Dictionary& record);

// Reads one record into the variables. A present key replaces its variable; a missing key keeps
// it, except for the keys whose absence has a value of its own (popSound false, soundName
// "Morse", the expiry behaviour true, automaticXPC, loggaSuFile and isLocked false).
// `quietMaxTime` and `autoupdate` are never read, and `presetLocationID` lands in
// `presetDescription`, its own variable keeping its value. Answers true when the record has no
// `automaticXPC`: an old configuration, about which the user is asked.
bool applyPreferencesRecord(const plist::Dictionary& record, ConfigurationPreferences& preferences,
                            ConfigurationFlags& flags);

}  // namespace halvex
