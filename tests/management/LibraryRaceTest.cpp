// Library changes on the main loop race real requests: the reader's hand-over, the intake and the
// rule check on the synchronised queue, quiet apps answered there (which adds to their entries),
// alerts answered on the main loop, and the library's snapshot tasks between them. Under
// ThreadSanitizer this shows the sharing is race-free; in any build, that every request is
// answered and the mirror and the daemon end holding the library.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "management/RequestSide.h"

namespace halvex::test {
namespace {

TEST(AppLibraryRace, RuleChecksOfRealRequestsAndMainLoopEditsEndConsistent) {
  LibraryWorld w;
  RequestSide side(w);
  side.alerts.instant = true;
  w.globals.enableNotifications = true;
  for (int i = 0; i < 40; ++i) {
    auto app = w.load("/opt/app" + std::to_string(i), i % 5, {"@10.0.0." + std::to_string(i), "#80", "@192.0.2.0/24"});
    // Asking apps in quiet time: requests for them that no rule settles add their address.
    if (i % 5 == 4 && i % 3 == 0) app->setQuiet("pass", 3600);
  }
  w.settle();

  std::atomic<bool> done{false};
  std::atomic<bool> requesterFinished{false};
  std::atomic<int> requests{0};
  std::atomic<int> unanswered{0};
  std::thread requester([&] {
    for (int r = 0; !done; ++r) {
      const auto before = w.sockets.sentCount();
      // Known apps in every state, addresses their rules hold or not, and unknown programs.
      const std::string path = "/opt/app" + std::to_string(r % 47);
      const std::string ip = r % 2 ? "192.0.2.1" : "10.0.0." + std::to_string(r % 40);
      side.request(2000 + r, path, ip, r % 3 ? "443" : "80");
      ++requests;
      const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
      while (w.sockets.sentCount() == before && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::microseconds(20));
      if (w.sockets.sentCount() == before) ++unanswered;
    }
    requesterFinished = true;
  });

  // Edits go on until enough requests have been decided between them.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (int round = 0; (round < 400 || requests < 300) && std::chrono::steady_clock::now() < deadline; ++round) {
    const auto count = w.controller.appsGrid.items.size();
    w.select(static_cast<std::size_t>(round) % std::max<std::size_t>(count, 1));
    switch (round % 10) {
      case 0: w.controller.makeSelectedAppGreen(); break;
      case 1: w.controller.makeSelectedAppRed(); break;
      case 2: w.controller.makeSelectedAppYellow(); break;
      case 3: w.controller.clickAppLocker(); break;
      case 4:
        w.drag.dragKind = "reorderapps";
        w.controller.acceptDrop(static_cast<std::size_t>(round * 7) % (count + 1));
        break;
      case 5:
        // Entries added to a known app in place, the way the rule check reads them.
        w.controller.setAppRuleFromLogs(LogRuleItem::passIPItem,
                                        {{"/opt/app" + std::to_string(round % 40), "", "", "10.9.9.9", 443}});
        break;
      case 6:
        w.controller.setAppRuleFromLogs(LogRuleItem::blockIPItem,
                                        {{"/opt/new" + std::to_string(round), "", "", "192.0.2.1", 443}});
        break;
      case 7: w.controller.removeApp(); break;
      case 8:
        w.globals.notificationCenter.post(
            "expireApp", plist::Dictionary{{"appName", plist::Value("app" + std::to_string(round % 40))}});
        break;
      case 9: w.controller.turnAllAppsWithMatchesFromGreenToYellow(); break;
    }
    // A short backlog on the queue, so that requests are decided between the edits rather than
    // after all of them.
    do w.loop.runPending();
    while (w.globals.synchronizedNotification.pendingCount() > 4);
  }
  done = true;
  // The last request may still wait for its alert, which the main loop answers.
  while (!requesterFinished) w.loop.runPending();
  requester.join();
  w.settle();
  w.act(0, &HXController::makeSelectedAppGreen);  // one last change: its snapshot is the final word

  EXPECT_GT(requests.load(), 0);
  EXPECT_EQ(unanswered.load(), 0) << "every request got its reply";
  EXPECT_GT(side.alerts.shown.load(), 0) << "unknown programs went to the alert";
  EXPECT_TRUE(w.globals.notifyControllers.empty());
  EXPECT_EQ(w.globals.synchronizedNotification.suspendCount(), 0) << "every request let the queue go";
  EXPECT_EQ(w.globals.globalAppsArray, w.controller.appsLibrary) << "the mirror holds the library's objects in order";
  EXPECT_EQ(w.daemonBinaries(), w.collect(w.controller.appsLibrary, [](const auto& a) { return a->appBinaries.front(); }));
  EXPECT_EQ(w.gridNames().size(), w.controller.appsLibrary.size());
}

}  // namespace
}  // namespace halvex::test
