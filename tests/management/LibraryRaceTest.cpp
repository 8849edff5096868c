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
  side.instant = true;
  w.globals.enableNotifications = true;
  // Slow replies keep each check open long enough for edits on the main loop to fall inside it.
  w.sockets.sendDelay = std::chrono::microseconds(200);
  // Ten tools of one name: every request for a tool has all of them as candidates (candidates are
  // found by name), and the even ones' binary fragment "/tool" occurs in every such path, so one
  // check walks several apps and replies between them while the main loop edits the same apps.
  constexpr int kTools = 10;
  const auto toolPath = [](int i) { return "/opt/k" + std::to_string(i) + "/tool"; };
  for (int i = 0; i < kTools; ++i) {
    auto app = w.load(toolPath(i), i % 5, {"@10.0.0." + std::to_string(i), "#80", "@192.0.2.0/24", "#198.51.100.0/24"});
    if (i % 2 == 0) app->appBinaries = {"/tool"};
  }
  // Two asking daemons in quiet time: requests no rule of theirs settles add their address.
  for (const char* kind : {"pass", "block"})
    w.load(std::string("/opt/q-") + kind + "/daemon", 4, {"#80", "@198.51.100.0/24"})->setQuiet(kind, 3600);
  w.settle();

  std::atomic<bool> done{false};
  std::atomic<bool> requesterFinished{false};
  std::atomic<int> requests{0};
  std::atomic<int> unanswered{0};
  std::thread requester([&] {
    for (int r = 0; !done; ++r) {
      const auto before = w.sockets.sentLines().size();
      // Tools in every state, quiet daemons, unknown programs; addresses the rules hold or not.
      std::string path = toolPath(r % kTools);
      std::string ip = r % 3 ? "192.0.2.1" : "10.0.0." + std::to_string(r % kTools);
      if (r % 4 == 2) {
        path = r % 8 == 2 ? "/opt/q-pass/daemon" : "/opt/q-block/daemon";
        ip = "203.0.113." + std::to_string(r % 250);
      } else if (r % 4 == 3) {
        path = "/usr/bin/other" + std::to_string(r);
      }
      side.request(2000 + r, path, ip, r % 5 ? "443" : "80");
      ++requests;
      // Until the request has ended: a block behind it runs only once the queue is let go.
      w.globals.synchronizedNotification.sync([] {});
      if (w.sockets.sentLines().size() == before) ++unanswered;
    }
    requesterFinished = true;
  });

  // Edits go on until enough requests have been decided between them.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (int round = 0; (round < 300 || requests < 200) && std::chrono::steady_clock::now() < deadline; ++round) {
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
        w.controller.setAppRuleFromLogs(LogRuleItem::passIPItem, {{toolPath(round % kTools), "", "", "10.9.9.9", 443}});
        break;
      case 6:
        w.controller.setAppRuleFromLogs(LogRuleItem::blockIPItem,
                                        {{"/opt/new" + std::to_string(round), "", "", "192.0.2.1", 443}});
        break;
      case 7: w.controller.removeApp(); break;
      case 8:
        w.globals.notificationCenter.post("expireApp",
                                          plist::Dictionary{{"appName", plist::Value(round % 20 ? "tool" : "daemon")}});
        break;
      case 9:
        // The selected app asks again, in quiet time, as after an alert's quiet choice.
        w.controller.makeSelectedAppYellow();
        if (auto selected = w.controller.appsLibraryController.selectedObjects(); !selected.empty())
          selected.front()->setQuiet("pass", 3600);
        break;
    }
    // Every app's entries are read, as the switch of alerts does.
    w.controller.turnAllAppsWithMatchesFromGreenToYellow();
    // A short backlog on the queue, so that requests are decided between the edits rather than
    // after all of them.
    for (w.loop.runPending();
         w.globals.synchronizedNotification.pendingCount() > 4 && std::chrono::steady_clock::now() < deadline;
         w.loop.runPending())
      std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  done = true;
  // The last request may still wait for its alert, which the main loop answers.
  while (!requesterFinished) w.loop.runPending();
  requester.join();
  w.settle();
  w.act(0, &HXController::makeSelectedAppGreen);  // one last change: its snapshot is the final word

  EXPECT_GT(requests.load(), 0);
  EXPECT_EQ(unanswered.load(), 0) << "every request got its reply";
  EXPECT_GT(side.shown.load(), 0) << "unknown programs went to the alert";
  EXPECT_TRUE(w.globals.notifyControllers.empty());
  EXPECT_EQ(w.globals.synchronizedNotification.suspendCount(), 0) << "every request let the queue go";
  EXPECT_EQ(w.globals.globalAppsArray, w.controller.appsLibrary) << "the mirror holds the library's objects in order";
  EXPECT_EQ(w.daemonBinaries(),
            w.collect(w.controller.appsLibrary, [](const auto& a) { return a->appBinaries.front(); }));
  EXPECT_EQ(w.gridNames().size(), w.controller.appsLibrary.size());
}

}  // namespace
}  // namespace halvex::test
