#pragma once
// The preferences window. Its controls are plain view state; every action reads the control the
// front end has just changed, writes the variable or the database at once (there is no Apply),
// and raises `changed`.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "configuration/Globals.h"
#include "configuration/UserDefaults.h"
#include "platform/Dialogs.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/SoundPlayer.h"
#include "rules/RuleLibraries.h"
#include "runtime/Controls.h"
#include "runtime/Graphics.h"
#include "runtime/Paths.h"
#include "runtime/Signal.h"

namespace halvex {

namespace optionmessages {
inline constexpr const char* kObject = "it.dovik";
inline constexpr const char* kRootPermissions = "rootPermissions";
inline constexpr const char* kXpcOption = "xpcOption";
}  // namespace optionmessages

// Posts one option message to the daemon: {key: value} under `name`, object "it.dovik".
void postOptionMessage(DistributedNotificationCenter& center, const char* name, const char* key, bool value);

struct PreferencesView {
  bool visible = false;
  std::string title;
  // The theme: an appearance name and whether the background is painted white.
  std::string appearance;
  bool whiteBackground = false;

  Slider notificationsTimeoutSlider;
  TextLabel notificationsTimeoutLabel;
  Slider logTimeoutSlider;
  TextLabel logTimeoutLabel;
  CheckBox manageRoot;
  CheckBox logApps;
  CheckBox autoUpdateBtn;
  CheckBox popSoundBtn;
  PopUpButton soundMenuBtn;
  Matrix timeoutMatrix;
  CheckBox timeoutTemporary;
  CheckBox managexpc;
  CheckBox logToFile;
  CheckBox updateRotationBtn;
  TextLabel logFilePathLabel;
  CheckBox warnOnLocationChange;
  CheckBox splashScreen;
  CheckBox verifySignature;
  std::int64_t preferencesTabView = 0;  // the selected tab
  std::int64_t segmCtrl = 0;            // the selected segment
  Matrix purgeMatrix;
  CheckBox hideSysBinariesBtn;
  CheckBox enableDovikInteractionBtn;
  ColorWell colorw;
  Matrix themeMatrix;
  CheckBox displayPopoverBg;
  CheckBox toggleNotificationsBtn;
  CheckBox toggleReverseIPAddress;
};

class HXPreferencesController {
 public:
  struct Links {
    Globals& globals;
    const Paths& paths;
    UserDefaults& userDefaults;
    DistributedNotificationCenter& distributedCenter;
    Dialogs& dialogs;
    SoundPlayer& soundPlayer;
    // The library of apps, the connection log's switch and the update check.
    AppsLibraryHolder& halvexcontroller;
    ConnectionLogSwitch& connectioncontroller;
    UpdateTimer& updatecontroller;
    // Sends the compact rule lists to the daemon (the configuration's sendConf).
    std::function<void()> sendConf;
    // The log rotation's check (the log subsystem); empty: nothing to check.
    std::function<void()> checkRotationSettings = {};
  };

  explicit HXPreferencesController(Links links);

  PreferencesView view;
  // Raised after every change of `view`.
  Signal<> changed;

  void openPreferences();
  // Every setting copied to its control; from another thread, on the main loop.
  void updatePreferencesGUI();
  void tbGeneral();
  void tbNotifications();
  void tbLogs();
  void tbAppearance();
  void clickSegmentedControl();

  void changeManageRoot();
  void changeManageXPC();
  void changeWarnSwitchConf();
  void changeVerifySign();
  void changeHideSysBinaries();
  void changeDovikInteraction();
  void changeDisplaySplash();
  void changeAutoupdate();
  void changeNotifSound();
  void selectSound();
  void changeNotifTimeout();
  void changeLogsTimeout();
  void changeExpireBehavior();
  void changeLogToFile();
  void changeThemeMatrix();
  void changeDisplayPopoverBg();
  void setNotificationBackgroundColor();
  void restoreDefaultNotificationBackgroundColor();
  void clickVerifySignatureBtn();
  void resetUserDefaults();

  // The controls of the logs tab follow the log's switch: enabled with logging on, disabled
  // with it off; the switch's own box shows the switch.
  void enableLogsOptions();
  void disableLogsOptions();
  // The "log to file" box takes a state without touching the saved flag (the log's switch copies
  // its own state there).
  void setLogToFileControl(bool state);

  void sendToDaemonManageRootOption();
  void sendToDaemonManageXPCOption();
  // Drops from the library every app whose path lies inside an XPC service, unless an alert is on
  // screen, by the library's own operation: globalAppsArray and the daemon follow.
  void removeAllXPCServices();
  // On the synchronised queue: the signature facts of every app afresh, the library copied to
  // globalAppsArray, and the configuration sent.
  void updateManagedAppsSignatures();

  static constexpr const char* kWindow = "prefsWindow";

 private:
  void selectTab(std::int64_t index);
  void setLogsOptionsEnabled(bool enabled);
  void applyTheme();
  void notify();

  Links links_;
};

}  // namespace halvex
