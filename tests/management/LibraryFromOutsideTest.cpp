// What the configuration does to the app library: an import replaces it through the library
// controller, so the grid follows; and no export or import makes the main loop wait for a queue
// that an open request holds.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>

#include "management/LibraryWorld.h"

namespace halvex::test {
namespace {

// A world whose configuration file holds /opt/a, the system binary /usr/sbin/netd and /opt/b.
struct ExportedWorld : LibraryWorld {
  ExportedWorld() {
    for (const char* path : {"/opt/a", "/usr/sbin/netd", "/opt/b"}) load(path, 0);
    settle();
    configuration.exportConf(configuration.confPath(), false, false, false);
  }
};

TEST(LibraryFromOutside, ImportsReplaceWhatTheGridShowsDropTheSelectionAndSetTheFilter) {
  ExportedWorld source;
  LibraryWorld w;
  w.globals.preferences.updateUser([](UserPreferences& u) { u.hideSystemBinaries = true; });
  w.files.addFile(w.configuration.confPath(), source.files.readFile(source.configuration.confPath()));
  w.configuration.loadConfiguration();  // the start-up import
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "b"})) << "netd is hidden";
  EXPECT_EQ(w.controller.appsGrid.libraryCount, 3u);
  EXPECT_EQ(w.mirrorNames(), (Names{"a", "netd", "b"}));

  // A later import replaces an edited library; the selected app goes with it.
  w.load("/opt/c", 0);
  w.select(2);
  w.configuration.importConf(w.configuration.confPath(), true);
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "b"}));
  EXPECT_FALSE(w.controller.appsGrid.selectionIndex);
  w.act(1, &HXController::makeSelectedAppRed);  // the grid's operations act on the imported apps
  EXPECT_EQ(w.daemonApps(), (std::vector<DaemonApp>{{"/opt/a", 0, {}}, {"/usr/sbin/netd", 0, {}}, {"/opt/b", 1, {}}}))
      << "hidden apps reach the daemon";
  w.globals.preferences.updateUser([](UserPreferences& u) { u.hideSystemBinaries = false; });
  w.controller.applyFilter();
  EXPECT_EQ(w.gridNames(), (Names{"a", "netd", "b"}));
}

// For ThreadSanitizer: imports on the synchronised queue while the main loop redraws the grid,
// which reads the filter and the list.
TEST(LibraryFromOutside, ImportsOnTheQueueRaceNoRedrawOfTheGrid) {
  ExportedWorld w;
  w.globals.preferences.updateUser([](UserPreferences& u) { u.hideSystemBinaries = true; });
  std::atomic<bool> imported{false};
  w.globals.synchronizedNotification.async([&] {
    for (int i = 0; i < 20; ++i) w.configuration.importConf(w.configuration.confPath(), true);
    imported = true;
  });
  while (!imported) {
    w.select(0);
    w.controller.refreshView();
    w.loop.runPending();
  }
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "b"}));
}

// Every action of a front end that waits on the synchronised queue, run on the main loop (this
// thread). One that waited while a request holds the queue would hang the agent; here a watchdog
// ends the test process instead.
void exportAndImportEveryWay(LibraryWorld& w) {
  auto& c = w.configuration;
  const std::string conf = c.confPath();
  // Each action with the path its file panel answers.
  const std::pair<std::string, std::function<void()>> actions[] = {
      {"/out/plain", [&] { c.exportConfToFile(); }},
      {"/out/encoded", [&] { c.exportEncodedConfToFile(); }},
      {"", [&] { c.exportConf("/out/direct", true, false, false); }},
      {conf, [&] { c.importConfFromFile(); }},
      {conf, [&] { c.importEncodedConfFromFile(); }},
      {"",
       [&] {
         w.globals.notificationCenter.post("loadCustomPreset", {{"presetPath", plist::Value(conf)}});
       }},
      {"", [&] { c.importConf(conf, true); }}};
  for (const auto& [panel, action] : actions) {
    w.dialogs.panelAnswer = panel;
    std::atomic<bool> returned{false};
    std::thread watchdog([&] {
      for (int i = 0; i < 500 && !returned; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
      if (returned) return;
      std::fprintf(stderr, "an action waits on the queue a request holds\n");
      std::abort();
    });
    action();
    returned = true;
    watchdog.join();
  }
}

TEST(LibraryFromOutside, ExportsAndImportsAreRefusedWhileAnAlertIsOpenAndWorkAfterIt) {
  ExportedWorld w;
  RequestSide side(w);
  w.load("/opt/mine", 0);
  w.globals.enableNotifications = true;
  w.settle();
  const auto lists = w.appLists().size();
  side.request(300, "/usr/bin/unknown");
  ASSERT_TRUE(w.loop.waitAndRun() && w.globals.notificationOnScreen) << "the alert is open";

  exportAndImportEveryWay(w);
  const auto exported = [&] {
    return w.files.fileExists("/out/plain") + w.files.fileExists("/out/encoded") + w.files.fileExists("/out/direct");
  };
  EXPECT_EQ(w.dialogs.panelTitles().size(), 0u) << "no panel opens";
  EXPECT_EQ(exported(), 0);
  EXPECT_EQ(w.gridNames(), (Names{"a", "netd", "b", "mine"}));
  EXPECT_EQ(w.appLists().size(), lists);
  EXPECT_EQ(w.globals.synchronizedNotification.pendingCount(), 0u) << "nothing is left to run after the alert";

  ASSERT_TRUE(side.answerOpen());
  w.settle();
  exportAndImportEveryWay(w);
  w.settle();
  EXPECT_EQ(w.dialogs.panelTitles().size(), 4u);
  EXPECT_EQ(exported(), 3);
  EXPECT_EQ(w.gridNames(), (Names{"a", "netd", "b"}));
}

TEST(LibraryFromOutside, WithAlertsOffExportsAndImportsWaitNotForARequestBeingLearnt) {
  ExportedWorld w;
  RequestSide side(w);
  side.request(301, "/usr/bin/newcomer");
  ASSERT_TRUE(w.loop.waitForPosted()) << "the learning waits for the main loop, the queue held";
  exportAndImportEveryWay(w);
  EXPECT_FALSE(w.files.fileExists("/out/plain"));

  w.loop.runPending();
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"newcomer", "a", "netd", "b"}));
  w.dialogs.panelAnswer = "/out/plain";
  w.configuration.exportConfToFile();
  EXPECT_TRUE(w.files.fileExists("/out/plain"));
}

}  // namespace
}  // namespace halvex::test
