#include <gtest/gtest.h>

#include "configuration/ConfigurationWorld.h"
#include "configuration/UserDefaults.h"

namespace halvex {
namespace {

using plist::Dictionary;
using plist::Value;
using test::ConfigurationWorld;

class PreferencesTest : public ::testing::Test {
 protected:
  ConfigurationWorld w;
  HXPreferencesController& prefs = w.preferences;
};

TEST_F(PreferencesTest, ReadUserDefaultsTakesOnlyTheKeysThatExist) {
  w.defaults.setColor("color1", Color::blackColor());
  w.defaults.setInteger("currentTheme", 0);
  w.defaults.setBool("verifySignatures", true);
  w.defaults.setBool("displaySplashScreenAtStart", false);
  w.defaults.setBool("displayAlertWhenSwitchingLocationAwarenessPreset", false);
  w.defaults.setObject("mainWindowHeight", Value("tall"));
  w.configuration.readUserDefaults();
  const auto u = w.globals.preferences.user();
  EXPECT_EQ(u.colors.color1, Color::blackColor());
  EXPECT_EQ(u.colors.color2, Color::orangeColor()) << "an absent key keeps its value";
  EXPECT_EQ(u.currentTheme, 0);
  EXPECT_TRUE(u.verifySignatures);
  EXPECT_FALSE(u.displaySplashScreenAtStart);
  EXPECT_FALSE(u.mainWindowHeight) << "a height that is no number is ignored";
  EXPECT_FALSE(w.globals.preferences.configuration().displayAlertWhenSwitchingLocationAwarenessPreset);
}

TEST_F(PreferencesTest, TheThemeWarningIsSuppressedByItsCheckBoxAndResetRestoresTheOthers) {
  w.dialogs.script({1000, true});
  prefs.view.themeMatrix.selectedRow = 0;
  prefs.changeThemeMatrix();
  w.loop.runPending();
  EXPECT_EQ(w.defaults.boolForKey(preferencekeys::kChangingTheme), true);
  prefs.changeThemeMatrix();
  ASSERT_EQ(w.dialogs.shown().size(), 1u);

  for (const auto& key : preferencekeys::warningKeys()) w.defaults.setBool(key, true);
  w.defaults.setBool("autoUpdate", true);
  prefs.resetUserDefaults();
  for (const auto& key : preferencekeys::warningKeys())
    EXPECT_EQ(w.defaults.contains(key), key == preferencekeys::kChangingTheme) << key;
  EXPECT_EQ(w.defaults.boolForKey("autoUpdate"), true);
  ASSERT_EQ(w.dialogs.shown().size(), 2u);
  EXPECT_EQ(w.dialogs.shown()[1].informativeText, "All warnings has been restored");

  prefs.view.themeMatrix.selectedRow = 1;
  prefs.changeThemeMatrix();
  EXPECT_EQ(w.dialogs.shown().size(), 2u) << "the theme warning stays suppressed";
  EXPECT_EQ(w.defaults.integerForKey("currentTheme"), 1);
}

TEST_F(PreferencesTest, OptionMessagesCarryTheirSettingAndXpcManagementDropsServices) {
  w.addApp("svc", "/Applications/A.app/Contents/XPCServices/svc.xpc/Contents/MacOS/svc", 0);
  w.addApp("curl", "/usr/bin/curl", 0);
  prefs.view.manageRoot.state = false;
  prefs.changeManageRoot();
  const auto root = w.center.posted("rootPermissions");
  ASSERT_EQ(root.size(), 1u);
  EXPECT_EQ(root[0].object, "it.dovik");
  EXPECT_EQ(root[0].userInfo, (Dictionary{{"prefsBlockRoot", Value(false)}}));
  EXPECT_FALSE(w.globals.preferences.configuration().prefsBlockRoot);

  prefs.view.managexpc.state = false;
  prefs.changeManageXPC();
  EXPECT_EQ(w.apps.appsLibrary.size(), 2u) << "turning off only sends the message";
  w.globals.notificationOnScreen = true;
  prefs.view.managexpc.state = true;
  prefs.changeManageXPC();
  EXPECT_EQ(w.apps.appsLibrary.size(), 2u) << "not while an alert is on screen";
  w.globals.notificationOnScreen = false;
  prefs.changeManageXPC();  // which services go is the library's part (LibraryFromOutside)
  const auto xpc = w.center.posted("xpcOption");
  ASSERT_EQ(xpc.size(), 3u);
  EXPECT_EQ(xpc[0].userInfo, (Dictionary{{"automaticXPC", Value(false)}}));
  EXPECT_EQ(xpc[2].userInfo, (Dictionary{{"automaticXPC", Value(true)}}));
}

TEST_F(PreferencesTest, VerifyingSignaturesRefreshesAndResendsUnlessAnAlertIsOpen) {
  w.addApp("curl", "/usr/bin/curl", 0);
  w.globals.notificationOnScreen = true;
  prefs.view.verifySignature.state = true;
  prefs.changeVerifySign();
  w.globals.synchronizedNotification.sync([] {});
  EXPECT_EQ(w.defaults.boolForKey("verifySignatures"), true) << "saved all the same";
  EXPECT_TRUE(w.center.posted("newAppListReceived").empty());
  w.globals.notificationOnScreen = false;
  prefs.clickVerifySignatureBtn();
  w.globals.synchronizedNotification.sync([] {});
  EXPECT_EQ(w.center.posted("newAppListReceived").size(), 1u);
}

TEST_F(PreferencesTest, TheWindowShowsTheSettingsAndItsActionsWriteThemBack) {
  prefs.openPreferences();
  EXPECT_TRUE(prefs.view.visible);
  EXPECT_EQ(prefs.view.notificationsTimeoutLabel.text, "60");
  EXPECT_FALSE(prefs.view.notificationsTimeoutSlider.enabled) << "alerts are off: their tab is disabled";
  EXPECT_FALSE(prefs.view.logToFile.enabled) << "logging is off";
  EXPECT_EQ(prefs.view.timeoutMatrix.selectedRow, 1);
  EXPECT_EQ(prefs.view.logFilePathLabel.text, "Log file path: /home/u/.local/state/halvex/halvex.log");

  prefs.view.notificationsTimeoutSlider.value = 42.7;
  prefs.changeNotifTimeout();
  prefs.view.timeoutMatrix.selectedRow = 0;
  prefs.view.timeoutTemporary.state = false;
  prefs.changeExpireBehavior();
  prefs.view.soundMenuBtn.selectedTitle = "Glass";
  prefs.selectSound();
  const auto p = w.globals.preferences.configuration();
  EXPECT_EQ(p.notificationsTimeOut, 42.0);
  EXPECT_EQ(prefs.view.notificationsTimeoutLabel.text, "42");
  EXPECT_FALSE(p.passAppWhenNotificationExpires);
  EXPECT_FALSE(p.passOrBlockTemp);
  EXPECT_EQ(p.soundName, "Glass");
  EXPECT_FALSE(w.defaults.contains("soundName")) << "a configuration setting is not a default";

  prefs.view.hideSysBinariesBtn.state = true;
  prefs.changeHideSysBinaries();
  EXPECT_EQ(w.apps.filterPredicate, std::optional<std::string>("self.appIsSystemBinary == 0"));
  prefs.view.hideSysBinariesBtn.state = false;
  prefs.changeHideSysBinaries();
  EXPECT_FALSE(w.apps.filterPredicate);
  prefs.view.colorw.color = Color::yellowColor();
  prefs.setNotificationBackgroundColor();
  EXPECT_EQ(w.defaults.colorForKey("bgColor"), Color::yellowColor());
  prefs.restoreDefaultNotificationBackgroundColor();
  EXPECT_EQ(prefs.view.colorw.color, UserPreferences::windowBackgroundColor());
}

constexpr const char* kDefaults = "/home/u/.config/halvex/defaults.plist";

TEST(UserDefaultsTest, ChangesAreWrittenAtOnceAndReadByTheNextStoreAndJunkStartsEmpty) {
  test::MemoryFiles files;
  {
    UserDefaults d(files, kDefaults);
    EXPECT_FALSE(d.contains("autoUpdate"));
    d.setBool("autoUpdate", true);
    d.setInteger("currentTheme", 1);
    d.setDouble("mainWindowHeight", 612.5);
    d.setObject("name", plist::Value("x"));
    d.setColor("color0", Color::rgba(0, 0.8, 0, 1));
    d.setColor("bgColor", Color::redColor());
    d.removeObjectForKey("name");
  }
  // How colours are stored is checked against a real reader in InteropTest.
  UserDefaults again(files, kDefaults);
  EXPECT_EQ(again.boolForKey("autoUpdate"), true);
  EXPECT_EQ(again.integerForKey("currentTheme"), 1);
  EXPECT_EQ(again.doubleForKey("mainWindowHeight"), 612.5);
  EXPECT_FALSE(again.contains("name"));
  EXPECT_EQ(again.colorForKey("color0"), Color::rgba(0, 0.8, 0, 1));
  EXPECT_EQ(again.colorForKey("bgColor"), Color::redColor()) << "the system colour's name survives";
  EXPECT_EQ(again.colorForKey("currentTheme"), std::nullopt);
  EXPECT_EQ(again.stringForKey("autoUpdate"), std::nullopt);

  // A file that is no dictionary starts an empty database.
  files.addFile(kDefaults, std::string("not a property list"));
  UserDefaults d(files, kDefaults);
  EXPECT_FALSE(d.contains("autoUpdate"));
  d.setBool("verifySignatures", true);
  EXPECT_EQ(UserDefaults(files, kDefaults).boolForKey("verifySignatures"), true);
}

}  // namespace
}  // namespace halvex
