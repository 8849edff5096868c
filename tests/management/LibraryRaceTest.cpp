// Library changes on the main loop race their snapshot tasks on the synchronised queue while
// another thread holds and releases that queue as open requests do. Under ThreadSanitizer this
// shows the sharing is race-free; in any build, that the mirror and daemon end holding the library.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "management/LibraryWorld.h"

namespace halvex::test {
namespace {

TEST(AppLibraryRace, ChangesSnapshotsAndRequestsEndConsistent) {
  LibraryWorld w;
  w.globals.enableNotifications = true;
  for (int i = 0; i < 40; ++i) w.load("/opt/app" + std::to_string(i), i % 5, {"@10.0.0." + std::to_string(i), "#80"});
  w.settle();

  std::atomic<bool> done{false};
  std::atomic<int> requests{0};
  std::atomic<std::size_t> entriesSeen{0};
  std::thread requester([&] {
    auto& queue = w.globals.synchronizedNotification;
    while (!done) {
      std::atomic<bool> open{false};
      // A request block: it holds the queue and reads the rules, as the decision code does.
      queue.async([&] {
        queue.suspend();
        std::lock_guard lock(w.controller.libraryLock());
        for (const auto& app : w.globals.globalAppsArray) entriesSeen += app->appMatches.size();
        open = true;
      });
      while (!open) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::microseconds(50));
      queue.resume();  // the answer has gone out
      ++requests;
    }
  });

  for (int round = 0; round < 300; ++round) {
    const auto count = w.controller.appsGrid.items.size();
    w.select(static_cast<std::size_t>(round) % std::max<std::size_t>(count, 1));
    switch (round % 8) {
      case 0: w.controller.makeSelectedAppGreen(); break;
      case 1: w.controller.makeSelectedAppRed(); break;
      case 2: w.controller.makeSelectedAppYellow(); break;
      case 3: w.controller.clickAppLocker(); break;
      case 4:
        w.drag.dragKind = "reorderapps";
        w.controller.acceptDrop(static_cast<std::size_t>(round * 7) % (count + 1));
        break;
      case 5:
        w.controller.setAppRuleFromLogs(LogRuleItem::blockIPItem,
                                        {{"/opt/new" + std::to_string(round), "", "", "192.0.2.1", 443}});
        break;
      case 6: w.controller.removeApp(); break;
      case 7:
        w.globals.notificationCenter.post(
            "expireApp", plist::Dictionary{{"appName", plist::Value("app" + std::to_string(round % 40))}});
        break;
    }
    w.loop.runPending();
  }
  done = true;
  requester.join();
  w.settle();
  w.act(0, &HXController::makeSelectedAppGreen);  // one last change: its snapshot is the final word

  EXPECT_GT(requests.load(), 0);
  EXPECT_EQ(w.globals.globalAppsArray, w.controller.appsLibrary) << "the mirror holds the library's objects in order";
  EXPECT_EQ(w.daemonBinaries(), w.collect(w.controller.appsLibrary, [](const auto& a) { return a->appBinaries.front(); }));
  EXPECT_EQ(w.gridNames().size(), w.controller.appsLibrary.size());
}

}  // namespace
}  // namespace halvex::test
