// What the preferences and the configuration do to the app library: they change it through the
// library controller, so the grid, the mirror and the daemon follow as after the library's own
// operations.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>

#include "configuration/HXPreferences.h"
#include "configuration/HXPreferencesController.h"
#include "management/LibraryWorld.h"
#include "management/RequestSide.h"

namespace halvex::test {
namespace {

// A configuration as another agent exported it: two plain binaries, one of them a
// system binary, and an XPC service, in this order.
std::string exportedConfiguration(bool withXpcSetting = true) {
  LibraryWorld source;
  source.load("/opt/a", 0);
  source.load("/usr/sbin/netd", 1);
  source.load("/opt/svc.xpc/Contents/MacOS/svc", 4, {"@443"});
  source.settle();
  source.configuration.exportConf("/conf", false, false, false);
  auto text = *source.files.readFile("/conf");
  if (!withXpcSetting) {
    // An older agent's file: its preferences record has no automaticXPC.
    const std::string key = "automaticXPC";
    const auto at = text.find(key);
    text.replace(at, key.size(), "automaticXPZ");
  }
  return text;
}

void hideSystemBinaries(LibraryWorld& w) {
  w.globals.preferences.updateUser([](UserPreferences& u) { u.hideSystemBinaries = true; });
}

// The world's preferences window, linked to its library and configuration.
struct Preferences {
  explicit Preferences(LibraryWorld& w) : controller(w.preferences) {}
  HXPreferencesController& controller;
};

TEST(LibraryFromOutside, TurningOnXpcManagementDropsTheServicesFromGridMirrorAndDaemon) {
  LibraryWorld w;
  Preferences prefs(w);
  w.load("/opt/svc.xpc/Contents/MacOS/svc", 1);
  w.load("/opt/a", 0);
  w.load("/Applications/A.app/Contents/XPCServices/S.xpc/Contents/MacOS/S", 4);  // the bundle's path is A.app
  w.load("/usr/libexec/x.xpc/Contents/MacOS/x", 4);
  w.settle();
  w.select(0);

  prefs.controller.view.managexpc.state = true;
  prefs.controller.changeManageXPC();
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "A.app"}));
  EXPECT_EQ(w.mirrorNames(), w.gridNames());
  EXPECT_EQ(w.daemonBinaries(), (Names{"/opt/a", "A.app/"})) << "the daemon forgets the services";
  EXPECT_FALSE(w.controller.appsGrid.selectionIndex) << "the selected service went with the list";
}

TEST(LibraryFromOutside, ImportsReplaceWhatTheGridShowsAndDropTheSelection) {
  LibraryWorld w;
  w.files.addFile(w.configuration.confPath(), exportedConfiguration());
  w.configuration.loadConfiguration();  // the start-up import
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "netd", "svc"}));
  EXPECT_EQ(w.controller.appsGrid.libraryCount, 3u);
  EXPECT_EQ(w.mirrorNames(), w.gridNames());
  EXPECT_EQ(w.daemonBinaries(), (Names{"/opt/a", "/usr/sbin/netd", "/opt/svc.xpc/Contents/MacOS/svc"}));

  // A later import replaces an edited library; the selected app is gone with it.
  w.load("/opt/b", 0);
  w.select(3);
  w.configuration.importConf(w.configuration.confPath(), true);
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "netd", "svc"}));
  EXPECT_FALSE(w.controller.appsGrid.selectionIndex);
  EXPECT_TRUE(w.controller.appsLibraryController.selectedObjects().empty());

  // The grid's operations act on the imported apps.
  w.act(1, &HXController::makeSelectedAppGreen);
  EXPECT_EQ(w.globals.globalAppsArray[1]->appIsBlockedOrAllowed, 0);
  EXPECT_EQ(w.daemonApps()[1], (DaemonApp{"/usr/sbin/netd", 0, {}}));
}

TEST(LibraryFromOutside, AnImportHidesSystemBinariesAndAnOldFilesServicesGoOnlyIfTheUserSaysSo) {
  const std::string oldFile = exportedConfiguration(false);
  for (const int button : {1001, 1000}) {  // "Keep disabled", "Enable" automatic XPC management
    LibraryWorld w;
    Preferences prefs(w);
    hideSystemBinaries(w);
    w.files.addFile("/old.plist", oldFile);
    w.dialogs.script({button, false});
    w.configuration.importConf("/old.plist", true);
    w.settle();
    EXPECT_TRUE(w.controller.appsGrid.hidesSystemBinaries);
    if (button == 1001) {
      EXPECT_EQ(w.gridNames(), (Names{"a", "svc"})) << "netd is hidden";
      EXPECT_EQ(w.mirrorNames(), (Names{"a", "netd", "svc"}));
      EXPECT_EQ(w.daemonApps().size(), 3u);
    } else {
      EXPECT_EQ(w.gridNames(), Names{"a"}) << "netd is hidden, the service removed";
      EXPECT_EQ(w.controller.appsGrid.libraryCount, 2u);
      EXPECT_EQ(w.mirrorNames(), (Names{"a", "netd"}));
      EXPECT_EQ(w.daemonBinaries(), (Names{"/opt/a", "/usr/sbin/netd"}));
    }
  }
}

// For ThreadSanitizer: imports on the synchronised queue, as a preset applied there does, while
// the main loop redraws the grid, which reads the filter and the list.
TEST(LibraryFromOutside, ImportsOnTheQueueRaceNoRedrawOfTheGrid) {
  LibraryWorld w;
  hideSystemBinaries(w);
  w.files.addFile("/conf", exportedConfiguration());
  w.load("/opt/old", 0);
  w.settle();
  std::atomic<bool> imported{false};
  w.globals.synchronizedNotification.async([&] {
    for (int i = 0; i < 20; ++i) w.configuration.importConf("/conf", true);
    imported = true;
  });
  while (!imported) {
    w.select(0);
    w.controller.refreshView();
    w.loop.runPending();
  }
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "svc"}));
  EXPECT_EQ(w.mirrorNames(), (Names{"a", "netd", "svc"}));
}

// Runs a front end's action on the main loop (this thread) while a request holds the queue. An
// action that waited on the queue would hang the agent; here it ends the test process instead.
void onMainLoopWithoutWaiting(const std::function<void()>& action) {
  std::atomic<bool> returned{false};
  std::thread watchdog([&] {
    for (int i = 0; i < 500 && !returned; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (returned) return;
    std::fprintf(stderr, "an action on the main loop waits on the queue a request holds\n");
    std::abort();
  });
  action();
  returned = true;
  watchdog.join();
}

// Every action a front end has that waits on the synchronised queue: the file actions, a custom
// preset's notification, and the two operations behind them.
void exportAndImportEveryWay(LibraryWorld& w, const std::string& source) {
  auto& c = w.configuration;
  w.dialogs.panelAnswer = "/out/plain.plist";
  onMainLoopWithoutWaiting([&] { c.exportConfToFile(); });
  w.dialogs.panelAnswer = "/out/encoded.plist";
  onMainLoopWithoutWaiting([&] { c.exportEncodedConfToFile(); });
  onMainLoopWithoutWaiting([&] { c.exportConf("/out/direct.plist", true, false, false); });
  w.dialogs.panelAnswer = source;
  onMainLoopWithoutWaiting([&] { c.importConfFromFile(); });
  onMainLoopWithoutWaiting([&] { c.importEncodedConfFromFile(); });
  onMainLoopWithoutWaiting([&] {
    w.globals.notificationCenter.post("loadCustomPreset", plist::Dictionary{{"presetPath", plist::Value(source)}});
  });
  onMainLoopWithoutWaiting([&] { c.importConf(source, true); });
}

TEST(LibraryFromOutside, ExportsAndImportsAreRefusedWhileAnAlertHoldsTheQueueAndWorkAfterIt) {
  LibraryWorld w;
  RequestSide side(w);
  w.files.addFile("/conf", exportedConfiguration());
  w.load("/opt/mine", 0);
  w.globals.enableNotifications = true;
  w.settle();
  const auto listsBefore = w.appLists().size();

  side.request(300, "/usr/bin/unknown");
  ASSERT_TRUE(w.loop.waitAndRun()) << "the alert opens on the main loop";
  ASSERT_TRUE(w.globals.notificationOnScreen);
  exportAndImportEveryWay(w, "/conf");
  EXPECT_TRUE(w.dialogs.panelTitles().empty()) << "no panel opens";
  for (const char* file : {"/out/plain.plist", "/out/encoded.plist", "/out/direct.plist"})
    EXPECT_FALSE(w.files.fileExists(file)) << file;
  EXPECT_EQ(w.gridNames(), Names{"mine"});
  EXPECT_EQ(w.mirrorNames(), Names{"mine"});
  EXPECT_EQ(w.appLists().size(), listsBefore);
  EXPECT_EQ(w.globals.synchronizedNotification.pendingCount(), 0u) << "nothing is left to run after the alert";

  ASSERT_TRUE(side.answerOpen());
  w.settle();
  exportAndImportEveryWay(w, "/conf");
  w.settle();
  EXPECT_EQ(w.dialogs.panelTitles().size(), 4u);
  for (const char* file : {"/out/plain.plist", "/out/encoded.plist", "/out/direct.plist"})
    EXPECT_TRUE(w.files.fileExists(file)) << file;
  EXPECT_EQ(w.gridNames(), (Names{"a", "netd", "svc"}));
  EXPECT_GT(w.appLists().size(), listsBefore);
}

TEST(LibraryFromOutside, WithAlertsOffAnExportWaitsNotForARequestThatIsBeingLearnt) {
  LibraryWorld w;
  RequestSide side(w);
  w.settle();
  // With alerts off the request is passed and learnt on the main loop, the queue held meanwhile.
  side.request(301, "/usr/bin/newcomer");
  ASSERT_TRUE(w.loop.waitForPosted());
  ASSERT_EQ(w.globals.synchronizedNotification.suspendCount(), 1);
  w.dialogs.panelAnswer = "/out/plain.plist";
  onMainLoopWithoutWaiting([&] { w.configuration.exportConfToFile(); });
  EXPECT_FALSE(w.files.fileExists("/out/plain.plist"));

  w.loop.runPending();  // the learning, which lets the queue go
  w.settle();
  EXPECT_EQ(w.gridNames(), Names{"newcomer"}) << "the request has been learnt";
  w.configuration.exportConfToFile();
  EXPECT_TRUE(w.files.fileExists("/out/plain.plist"));
}

}  // namespace
}  // namespace halvex::test
