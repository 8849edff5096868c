// The app library through its public operations: what the grid shows, what the decision code
// sees in globalAppsArray, and what reaches the daemon after each kind of change.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "management/LibraryWorld.h"

namespace halvex::test {
namespace {

using Apps = std::vector<DaemonApp>;
constexpr auto kRed = &HXController::makeSelectedAppRed;
constexpr auto kGreen = &HXController::makeSelectedAppGreen;

// Apps learnt from real requests with alerts off: every request is passed, the list unread (ssh
// is blocked there); the newest app comes first, a bundle is one entry wherever its copy lies,
// and a binary is known by its full path only.
TEST(AppLibrary, LearntAppsComeToTheFrontAndBundlesAreOneEntry) {
  LibraryWorld w;
  RequestSide side(w);
  w.load("/usr/bin/curl", 0);
  w.load("/usr/bin/ssh", 1);
  int pid = 500;
  for (const char* path : {"/Applications/Foo.app/Contents/MacOS/Foo", "/Applications/Foo.app/Contents/Library/Helper",
                           "/Users/u/Copies/Foo.app/Contents/MacOS/Foo", "/Applications/FooBar.app/Contents/MacOS/Foo",
                           "/usr/bin/ssh", "/opt/a/tool", "/opt/b/tool"}) {
    side.request(pid++, path);
    ASSERT_TRUE(w.loop.waitAndRun());
    w.settle();
  }
  const auto replies = w.sockets.sentLines();
  EXPECT_EQ(replies.size(), 7u);
  for (const auto& reply : replies) EXPECT_TRUE(reply.ends_with(" 0 # #")) << reply;
  EXPECT_TRUE(w.globals.notifyControllers.empty());
  EXPECT_EQ(w.gridNames(), (Names{"tool", "tool", "FooBar.app", "Foo.app", "curl", "ssh"}));
  EXPECT_EQ(w.controller.appsGrid.selectionIndex, 0u) << "the newest app is selected";
  EXPECT_EQ(w.mirrorNames(), w.gridNames());

  // The next change carries the additions, passed for ever, to the daemon in view order.
  w.act(4, kRed);
  EXPECT_EQ(w.daemonBinaries(),
            (Names{"/opt/b/tool", "/opt/a/tool", "FooBar.app/", "Foo.app/", "/usr/bin/curl", "/usr/bin/ssh"}));
  for (const auto& app : w.daemonApps()) EXPECT_EQ(app.state, app.binary.starts_with("/usr/") ? 1 : 0) << app.binary;
}

TEST(AppLibrary, RuleOfTheSelectedAppChangesAndIsSnapshotted) {
  LibraryWorld w;
  auto a = w.load("/opt/a", 4, {"@10.0.0.1", "#443"});
  auto b = w.load("/opt/b", 0);
  int popoverDraws = 0;
  w.controller.drawAppPopover = [&] { ++popoverDraws; };

  // Nothing is selected: nothing happens and nothing is sent.
  w.controller.makeSelectedAppGreen();
  w.settle();
  EXPECT_TRUE(w.appLists().empty());
  EXPECT_EQ(a->appIsBlockedOrAllowed, 4);

  // Yellow keeps the entries and ends timed rule and quiet time.
  startTimer(*a, 60);
  a->setQuiet("pass", 20);
  w.act(0, &HXController::makeSelectedAppYellow);
  EXPECT_EQ(a->appIsBlockedOrAllowed, 4);
  EXPECT_EQ(a->appMatches, (Names{"@10.0.0.1", "#443"}));
  EXPECT_FALSE(a->appHasTimer);
  EXPECT_FALSE(a->appIsQuietPass);
  EXPECT_EQ(w.loop.timerCount(), 0u) << "both timers invalidated";
  EXPECT_EQ(w.appLists().size(), 1u);

  // Green and red drop the entries; the daemon hears each.
  w.act(0, kGreen);
  EXPECT_EQ(w.daemonApps().front(), (DaemonApp{"/opt/a", 0, {}}));
  w.act(1, kRed);
  EXPECT_EQ(w.daemonApps(), (Apps{{"/opt/a", 0, {}}, {"/opt/b", 1, {}}}));
  EXPECT_TRUE(b->appIsBlocked);
  EXPECT_EQ(w.controller.appsGrid.items[1].labelColor.systemName, "redColor");
  EXPECT_EQ(popoverDraws, 3);
  EXPECT_EQ(w.appLists().size(), 3u);
}

TEST(AppLibrary, TheLockFlipsPassAndBlockAndAskingAppsByTheirEntries) {
  struct Case {
    std::int64_t state;
    Names matches;
    std::int64_t flipped;
  };
  const Case cases[] = {{0, {}, 1},
                        {2, {"#1.2.3.4"}, 1},
                        {1, {}, 0},
                        {3, {"@443"}, 0},
                        {4, {}, 0},
                        {4, {"#_range1:2"}, 2},
                        {4, {"@_range1:2", "@443"}, 3},
                        {4, {"@443", "#80"}, 2}};
  for (const auto& c : cases) {
    LibraryWorld w;
    auto app = w.load("/opt/app", c.state, c.matches);
    w.act(0, &HXController::clickAppLocker);
    EXPECT_EQ(app->appIsBlockedOrAllowed, c.flipped) << "from state " << c.state;
    EXPECT_EQ(w.daemonApps(), (Apps{{"/opt/app", c.flipped, c.flipped <= 1 ? Names{} : c.matches}}))
        << "from 0 or 1 the entries go; otherwise they stay";
  }

  LibraryWorld w;
  auto app = w.load("/opt/app", 0);
  w.select(0);
  w.globals.notificationOnScreen = true;
  w.controller.clickAppLocker();
  w.controller.removeApp();
  w.controller.removeAllXPCServices();
  w.settle();
  EXPECT_EQ(app->appIsBlockedOrAllowed, 0) << "refused during an alert";
  EXPECT_EQ(w.controller.appsLibrary.size(), 1u);
  EXPECT_TRUE(w.appLists().empty());
}

TEST(AppLibrary, RemovingAnAppOrTheServicesTakesThemFromViewMirrorAndDaemon) {
  LibraryWorld w;
  w.load("/Applications/A.app/Contents/XPCServices/S.xpc/Contents/MacOS/S", 0);
  w.load("/opt/a", 0);
  w.load("/opt/svc.xpc/Contents/MacOS/svc", 1);
  auto b = w.load("/opt/b", 1);
  startTimer(*b, 30);
  // The services go when the preferences turn automatic XPC management on.
  w.preferences.view.managexpc.state = true;
  w.preferences.changeManageXPC();
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"A.app", "a", "b"})) << "a bundle path never holds the service's path";
  EXPECT_EQ(w.daemonBinaries(), (Names{"A.app/", "/opt/a", "/opt/b"}));

  w.act(2, &HXController::removeApp);
  EXPECT_EQ(w.gridNames(), (Names{"A.app", "a"}));
  EXPECT_EQ(w.mirrorNames(), (Names{"A.app", "a"}));
  EXPECT_EQ(w.daemonBinaries(), (Names{"A.app/", "/opt/a"}));
  EXPECT_FALSE(b->appHasTimer);
  w.loop.advance(std::chrono::seconds(60));
  w.settle();
  EXPECT_EQ(w.appLists().size(), 2u) << "the removed app's timer never fires";
}

TEST(AppLibrary, CleaningAllAsksUnlessToldNotToAndSendsTheDatagram) {
  LibraryWorld w;
  auto clean = [&](std::size_t apps) {
    for (std::size_t i = 0; i < apps; ++i) w.load("/opt/" + std::to_string(i), 0);
    w.controller.emptyall();
    w.settle();
  };
  // The sheet's first button without the box cleans and leaves the warning on.
  w.dialogs.script({1000, false});
  clean(1);
  EXPECT_TRUE(w.controller.appsLibrary.empty());
  EXPECT_FALSE(w.defaults.contains(preferencekeys::kCleaningAllApps));
  EXPECT_EQ(w.sockets.sentLines(), Names{"5"});

  // Cancel with the box ticked: nothing cleaned, but the warning is off from now on.
  w.dialogs.script({1001, true});
  clean(2);
  ASSERT_EQ(w.dialogs.shown().size(), 2u);
  EXPECT_TRUE(w.controller.appsGrid.mainWindowVisible);
  EXPECT_EQ(w.controller.appsLibrary.size(), 2u);
  EXPECT_EQ(w.defaults.boolForKey(preferencekeys::kCleaningAllApps), true);
  EXPECT_EQ(w.sockets.sentLines(), Names{"5"});

  clean(0);
  EXPECT_EQ(w.dialogs.shown().size(), 2u) << "no third sheet";
  EXPECT_TRUE(w.controller.appsLibrary.empty());
  EXPECT_TRUE(w.controller.appsGrid.items.empty());
  EXPECT_TRUE(w.globals.globalAppsArray.empty());
  EXPECT_EQ(w.sockets.sentLines(), (Names{"5", "5"}));
  EXPECT_TRUE(w.appLists().empty()) << "the datagram replaces the list";
  clean(0);  // an empty list is cleaned the same way
  EXPECT_EQ(w.sockets.sentLines(), (Names{"5", "5", "5"}));
}

TEST(AppLibrary, ExpiryReturnsTheAppToAskingWithAlertsOnAndRemovesItAfterTheSendWithThemOff) {
  LibraryWorld on;
  on.globals.enableNotifications = true;
  auto app = on.load("/opt/a", 1, {"#80"});
  app->appIsPersistent = false;
  startTimer(*app, 120);
  on.loop.advance(std::chrono::seconds(121));
  on.settle();
  EXPECT_EQ(app->appIsBlockedOrAllowed, 4);
  EXPECT_FALSE(app->appHasTimer);
  EXPECT_EQ(on.daemonApps(), (Apps{{"/opt/a", 4, {"#80"}}}));
  EXPECT_TRUE(on.controller.appsGrid.items[0].yellow);

  LibraryWorld off;
  off.load("/opt/keep", 0);
  startTimer(*off.load("/opt/gone", 0), 30);
  off.loop.advance(std::chrono::seconds(31));
  // Let the queue's task run, but not yet the removal it queued on the main loop.
  off.globals.synchronizedNotification.sync([] {});
  EXPECT_EQ(off.daemonBinaries(), (Names{"/opt/keep", "/opt/gone"})) << "sent before the removal";
  off.settle();
  EXPECT_EQ(off.gridNames(), Names{"keep"});
  EXPECT_EQ(off.mirrorNames(), (Names{"keep", "gone"})) << "until the next snapshot";
  off.act(0, kRed);
  EXPECT_EQ(off.mirrorNames(), Names{"keep"});
  EXPECT_EQ(off.daemonBinaries(), Names{"/opt/keep"});
}

TEST(AppLibrary, RulesFromTheLogActOnEveryAppWhosePathIsContained) {
  const std::string path = "/Applications/Foo.app/Contents/MacOS/Foo";
  LibraryWorld w;
  auto rule = [&](LogRuleItem item, std::string address = "192.0.2.7", std::int64_t port = 443) {
    w.controller.setAppRuleFromLogs(item, {{path, "", "", std::move(address), port}});
    w.settle();
  };
  auto bundle = w.load(path, 4, {"@192.0.2.7"});
  auto macos = w.load("/Applications/Foo", 0);  // a binary whose path is a prefix
  auto other = w.load("/opt/other", 4);

  rule(LogRuleItem::blockIPItem);
  EXPECT_EQ(bundle->appMatches, Names{"#192.0.2.7"}) << "the old entry of the address goes";
  EXPECT_EQ(bundle->appIsBlockedOrAllowed, 4);
  EXPECT_EQ(macos->appIsBlockedOrAllowed, 2) << "a pass app with a block entry is mixed";
  EXPECT_TRUE(other->appMatches.empty());
  EXPECT_EQ(w.daemonApps()[1], (DaemonApp{"/Applications/Foo", 2, {"#192.0.2.7"}}));

  // A port already there, in either form, is not added again.
  rule(LogRuleItem::passPortItem, "x", 8080);
  rule(LogRuleItem::blockPortItem, "x", 8080);
  EXPECT_EQ(bundle->appMatches, (Names{"@8080", "#192.0.2.7"}));

  // A block app is not given block entries; a pass of the whole app drops them.
  const auto before = w.appLists().size();
  rule(LogRuleItem::blockAppItem);
  EXPECT_EQ(w.appLists().size(), before + 2) << "one send per app found";
  rule(LogRuleItem::blockIPItem, "203.0.113.1");
  rule(LogRuleItem::blockPortItem, "x", 22);
  EXPECT_TRUE(bundle->appMatches.empty());
  EXPECT_EQ(w.appLists().size(), before + 2) << "refusals send nothing";
  rule(LogRuleItem::passIPItem, "203.0.113.1");
  EXPECT_EQ(bundle->appIsBlockedOrAllowed, 3);
  EXPECT_EQ(w.mirrorNames(), (Names{"Foo.app", "Foo", "other"})) << "no snapshot: nothing added";

  // Two rows selected: nothing.
  const LogConnectionFacts row{path, "", "", "192.0.2.7", 443};
  w.controller.setAppRuleFromLogs(LogRuleItem::passAppItem, {row, row});
  EXPECT_EQ(bundle->appIsBlockedOrAllowed, 3);
}

TEST(AppLibrary, RulesFromTheLogMakeNewAppsForUnknownPaths) {
  struct Case {
    LogRuleItem item;
    std::int64_t state;
    Names matches;
  };
  using enum LogRuleItem;
  const Case cases[] = {{blockAppItem, 1, {}},           {passAppItem, 0, {}},
                        {blockPortItem, 2, {"#53"}},     {passPortItem, 3, {"@53"}},
                        {blockIPItem, 2, {"#10.1.1.1"}}, {passIPItem, 3, {"@10.1.1.1"}}};
  for (const auto& c : cases) {
    LibraryWorld w;
    w.load("/opt/known", 0);
    // A service is found by its owner's path.
    w.controller.setAppRuleFromLogs(c.item, {{"/usr/libexec/svc", "/opt/owner/bin/app", "svc", "10.1.1.1", 53}});
    w.settle();
    EXPECT_EQ(w.gridNames(), (Names{"known", "app"}));
    EXPECT_EQ(w.mirrorNames(), (Names{"known", "app"})) << "appended to the mirror";
    EXPECT_EQ(w.daemonApps().back(), (DaemonApp{"/opt/owner/bin/app", c.state, c.matches}));
  }
}

TEST(AppLibrary, ReorderingByDragMovesTheSelectedApp) {
  LibraryWorld w;
  for (const char* p : {"/opt/a", "/opt/b", "/opt/c", "/opt/d"}) w.load(p, 0);
  DragPasteboard pasteboard;
  auto drop = [&](std::size_t from, std::size_t to) {
    w.select(from);
    ASSERT_TRUE(w.controller.acceptDrop(to));
    w.settle();
  };

  w.select(0);
  ASSERT_TRUE(w.controller.canDragItemsAtIndexes({0}));
  ASSERT_TRUE(w.controller.writeItemsAtIndexes({0}, pasteboard));
  EXPECT_EQ(pasteboard.archivedIndexes, std::vector<std::size_t>{0});
  EXPECT_TRUE(w.controller.validateDrop(3));
  drop(0, 3);  // a before d: lands behind c
  EXPECT_EQ(w.gridNames(), (Names{"b", "c", "a", "d"}));
  EXPECT_EQ(w.mirrorNames(), w.gridNames());
  EXPECT_EQ(w.daemonBinaries(), (Names{"/opt/b", "/opt/c", "/opt/a", "/opt/d"}));
  drop(3, 0);
  EXPECT_EQ(w.gridNames(), (Names{"d", "b", "c", "a"}));

  // Dropping onto its own place changes nothing but is still sent.
  const auto sent = w.appLists().size();
  drop(1, 1);
  drop(1, 2);
  EXPECT_EQ(w.gridNames(), (Names{"d", "b", "c", "a"}));
  EXPECT_EQ(w.appLists().size(), sent + 2);

  // Another drag kind, or an alert, stops it.
  w.drag.dragKind = "addapps";
  EXPECT_FALSE(w.controller.validateDrop(0));
  EXPECT_FALSE(w.controller.acceptDrop(0));
  w.globals.notificationOnScreen = true;
  EXPECT_FALSE(w.controller.canDragItemsAtIndexes({0}));
  EXPECT_EQ(w.drag.dragKind, "reorderapps");
  EXPECT_FALSE(w.controller.writeItemsAtIndexes({0}, pasteboard));
}

TEST(AppLibrary, SelectionFollowsTheNotificationAndTheGrid) {
  LibraryWorld w;
  for (const char* p : {"/opt/a", "/opt/b"}) w.load(p, 0);
  auto selectByNote = [&](std::int64_t i) {
    w.globals.notificationCenter.post("selectApp", plist::Dictionary{{"selectApp", plist::Value(i)}});
  };
  selectByNote(1);
  EXPECT_EQ(w.controller.appsGrid.selectionIndex, 1u);
  EXPECT_TRUE(w.controller.appsGrid.items[1].selected);
  EXPECT_FALSE(w.controller.appsGrid.items[0].selected);
  selectByNote(9);
  EXPECT_FALSE(w.controller.appsGrid.selectionIndex.has_value()) << "past the end: no selection";

  // A send without a snapshot: the mirror keeps its order while the daemon hears the library.
  w.controller.appsLibraryController.setContent({w.controller.appsLibrary[1], w.controller.appsLibrary[0]});
  w.globals.notificationCenter.post("sendConfiguration");
  w.settle();
  EXPECT_EQ(w.daemonBinaries(), (Names{"/opt/b", "/opt/a"}));
  EXPECT_EQ(w.mirrorNames(), (Names{"a", "b"}));
}

// Library changes on the main loop race real requests: the reader's hand-over, the intake and the
// rule check on the synchronised queue, quiet apps answered there (which adds to their entries),
// alerts answered on the main loop, and the library's snapshot tasks between them. Under
// ThreadSanitizer this shows the sharing is race-free; in any build, that every request is
// answered and the mirror and the daemon end holding the library.

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
