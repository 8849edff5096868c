// The alert from its opening to its one ending: the decision each scope makes, how long an app
// verdict holds, quiet time, the controls and their texts, the timers, and alerts switched off and
// on around it.

#include <gtest/gtest.h>

#include <cmath>

#include "decision/AlertWorld.h"

using namespace halvex;
using namespace halvex::test;
using namespace std::chrono_literals;

TEST(Alert, EachScopeRepliesFirstThenMakesItsRuleAsTheDecisionTableSays) {
  using enum AlertScope;
  constexpr std::int64_t kNew = -1;
  const Texts lib{"copyArrayAppLibrary"}, libSent{"copyArrayAppLibrary", "sendConfiguration"};
  struct Row {
    const char* what;
    AlertAnswer answer;
    std::int64_t knownState;  // kNew: curl is not known
    Texts knownMatches;
    std::string suffix;
    std::int64_t stateAfter;
    Texts matchesAfter, notifications;
  };
  const Row rows[] = {
      {"new app passed", answer(true), kNew, texts(), " 0 # #", 0, texts(), lib},
      {"known app blocked: entries wiped", answer(false, app), 4, texts("@22"), " 1 # #", 1, texts(), texts()},
      {"new app, port", answer(false, port), kNew, texts(), " 4 1 1", 4, texts("#443"), lib},
      {"known app, port to the front", answer(true, port), 4, texts("@22"), " 4 1 0", 4, texts("@443", "@22"), texts()},
      {"known app, port repeated", answer(true, port), 4, texts("@443"), " 4 1 0", 4, texts("@443"), texts()},
      {"new app, address", answer(true, address), kNew, texts(), " 4 0 0", 4, texts("@192.0.2.1"), libSent},
      {"known app in state 0, address to the end", answer(false, address), 0, texts("@10.0.0.1"), " 4 0 1", 0,
       texts("@10.0.0.1", "#192.0.2.1"), texts()},
      {"known app, address repeated", answer(false, address), 4, texts("#192.0.2.1"), " 4 0 1", 4, texts("#192.0.2.1"),
       texts()},
      {"new app, offered network by prefix", answer(true, network, "/16"), kNew, texts(), " 4 0 0", 4,
       texts("@192.0.0.0/16"), libSent},
      {"known app, network repeated: still written", answer(false, network, "192.0.2.0/24"), 4, texts("#192.0.2.0/24"),
       " 4 0 1", 4, texts("#192.0.2.0/24"), texts("sendConfiguration")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    AlertWorld w;
    // Its binary listed elsewhere: the check walks none of its entries, and only the alert can
    // repeat one.
    if (row.knownState != kNew) w.load(kCurl, row.knownState, row.knownMatches)->appBinaries = {"/elsewhere/curl"};
    w.open();
    EXPECT_EQ(w.reply(row.answer), row.suffix);
    ASSERT_TRUE(w.curl());
    EXPECT_EQ(w.curl()->appIsBlockedOrAllowed, row.stateAfter);
    EXPECT_EQ(w.curl()->appMatches, row.matchesAfter);
    EXPECT_EQ(w.posted, row.notifications);
    w.expectIdle();
    EXPECT_EQ(w.alerts.closed, Texts{w.tag() + " answered" + row.suffix});
  }
}

// An app verdict holds to its last second, then the app asks again in state four with no timer
// left behind; without an end it stays, kept out of snapshots when it lasts until logout.
TEST(Alert, EachLimitOfAnAppVerdictEndsOnlyWhenItShouldAndTheAppThenAsksAgainInStateFour) {
  struct Row {
    const char* what;
    std::optional<AppDuration> duration;  // none: nobody answers, the alert expires
    bool pass;
    Texts knownEntries;                         // curl known in state 4 with these, or new when empty
    std::optional<std::chrono::seconds> lasts;  // none: for the agent's life
  };
  const Row rows[] = {
      {"the slider at 1", AppDuration::minutes, true, {}, 60s},
      {"an expiry that passes, known app", std::nullopt, true, {"@198.51.100.1"}, 30s},
      {"an expiry that blocks", std::nullopt, false, {}, 30s},
      {"until logout", AppDuration::untilLogout, true, {}, std::nullopt},
      {"forever, known app", AppDuration::forever, true, {"@198.51.100.1"}, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    AlertWorld w;
    w.globals.preferences.updateConfiguration([&](auto& c) { c.passAppWhenNotificationExpires = row.pass; });
    if (!row.knownEntries.empty()) w.load(kCurl, 4, row.knownEntries);
    auto& a = w.open();
    const std::string verdict = row.pass ? " 0 # #" : " 1 # #";
    if (row.duration) {
      EXPECT_EQ(w.reply(forApp(row.duration, 1)), verdict);
    } else {
      EXPECT_EQ(a.window.timeoutProgress.hidden, !row.pass) << "the bar's colour tells what the expiry does";
      a.updateWithSlider(7);
      a.clickPopupButton(kTimeMenuItem);
      a.selectActionMatrix(kRowAddress);
      const auto sent = w.sockets.sentLines().size();
      w.loop.advance(59s);
      EXPECT_EQ(a.window.timeoutProgress.value, 1);
      EXPECT_TRUE(a.alertIsOpen());
      w.pass(1s);
      EXPECT_EQ(w.repliesSince(sent), verdict) << "the whole app, whatever item and row were selected";
    }
    EXPECT_EQ(w.alerts.closed, Texts{w.tag() + (row.duration ? " answered" : " expired") + verdict});
    w.expectIdle();
    const auto app = w.curl();
    ASSERT_TRUE(app);
    EXPECT_TRUE(app->appMatches.empty()) << "an app verdict wipes the entries";
    EXPECT_EQ(app->appIsPersistent, row.duration == AppDuration::forever);
    EXPECT_EQ(w.loop.timerCount(), row.lasts ? 1u : 0u) << "one timer at most, none without an end";

    if (!row.lasts) {
      w.pass(24h);
      EXPECT_EQ(w.expiries(), 0);
      EXPECT_EQ(w.ask("192.0.2.2"), verdict);
      EXPECT_EQ(app->appHasTimer, row.duration == AppDuration::untilLogout) << "kept out of snapshots";
      continue;
    }
    w.pass(*row.lasts - 1s);
    EXPECT_EQ(w.ask("192.0.2.2"), verdict) << "the rule holds to its last second";
    w.pass(1s);
    EXPECT_EQ(app->appIsBlockedOrAllowed, 4);
    EXPECT_FALSE(app->appHasTimer);
    w.pass(2h);
    EXPECT_EQ(w.expiries(), 1) << "no second timer was left running";
    EXPECT_EQ(w.ask("192.0.2.2"), "alert") << "the app asks again";
    EXPECT_EQ(w.curl(), app);
  }
}

TEST(Alert, QuietTimeAnswersABurstWithOneAlertAndLeavesItsAddressesAsRules) {
  for (const bool pass : {true, false}) {
    SCOPED_TRACE(pass ? "pass" : "block");
    AlertWorld w;
    const std::string verdict = pass ? " 4 0 0" : " 4 0 1";
    const std::string mark = pass ? "@" : "#";
    w.open();
    EXPECT_EQ(w.reply(quietly(pass, 30)), verdict);
    EXPECT_EQ(w.globals.preferences.configuration().quietTime, 30);
    for (const char* address : {"192.0.2.2", "192.0.2.3", "192.0.2.2"}) EXPECT_EQ(w.ask(address), verdict) << address;
    w.pass(29s);
    EXPECT_EQ(w.ask("192.0.2.4"), verdict) << "quiet to its last second";
    EXPECT_EQ(w.alerts.shown.size(), 1u);
    EXPECT_EQ(w.curl()->appMatches,
              (Texts{mark + "192.0.2.1", mark + "192.0.2.2", mark + "192.0.2.3", mark + "192.0.2.4"}))
        << "each address noted once: a repeat is answered by the rule just noted";

    w.pass(1s);
    EXPECT_FALSE(w.curl()->appIsQuietPass || w.curl()->appIsQuietBlock);
    for (const char* address : {"192.0.2.1", "192.0.2.3", "192.0.2.4"}) EXPECT_EQ(w.ask(address), verdict) << address;
    EXPECT_EQ(w.alerts.shown.size(), 1u) << "the rule walk answers the noted addresses";
    EXPECT_EQ(w.ask("192.0.2.5"), "alert");
  }
}

TEST(Alert, TheSlidersKeepWholeValuesInRangeAndTheButtonsSayHowLong) {
  AlertWorld w;
  w.globals.preferences.updateConfiguration([](auto& c) { c.notificationDefaultTime = 0; });
  auto& a = w.open();
  EXPECT_EQ(a.window.timeMenuItem.title, "This app for 1 minute") << "a stored 0 is brought into the range";
  EXPECT_EQ(a.window.advancedPass.title, "Pass this app forever");
  EXPECT_EQ(w.reply(quietly(true, 61)), "refused: the quiet time is 1 to 60 seconds");
  EXPECT_EQ(w.reply(forApp(AppDuration::minutes, 1441)), "refused: the app's minutes are 1 to 1440");
  EXPECT_TRUE(a.alertIsOpen());
  EXPECT_EQ(a.window.actionMatrix.selectedRow, kRowApp) << "a refused answer moves no control";
  EXPECT_EQ(w.globals.preferences.configuration().quietTime, 20);
  a.updateWithSlider(5);
  a.clickPopupButton(kTimeMenuChooser);
  EXPECT_EQ(a.window.timeButton.selectedIndex, kTimeMenuItem) << "the slider's item stands for its minutes";
  EXPECT_EQ(w.globals.preferences.configuration().notificationDefaultChoice, kTimeMenuItem);
  EXPECT_EQ(a.window.advancedBlock.title, "Block this app for 5 minutes");
  for (const auto& [seconds, title] :
       {std::pair{1.0, "Silence for 1 seconds"}, std::pair{20.9, "Silence for 20 seconds"}}) {
    a.updateQuietSlider(seconds);
    EXPECT_EQ(a.window.quietButton.title, title);
    EXPECT_EQ(w.globals.preferences.configuration().quietTime, std::floor(seconds));
  }

  EXPECT_EQ(w.reply(quietly(true)), " 4 0 0");
  EXPECT_FALSE(a.window.quietSlider.hidden);
  EXPECT_EQ(w.globals.preferences.configuration().quietButtonState, 1);
  w.pass(19s);
  EXPECT_EQ(w.ask("192.0.2.2"), " 4 0 0");
  w.pass(1s);
  EXPECT_EQ(w.ask("192.0.2.3"), "alert") << "0 seconds: the stored 20";
}

TEST(Alert, TouchingTheAlertGivesTheFullTimeAgainAndADesktopCloseOnlyHidesIt) {
  AlertWorld w;
  auto& a = w.open();
  w.loop.advance(50s);
  a.menuWillOpen(AlertMenu::process);
  w.loop.advance(100s);
  EXPECT_TRUE(a.alertIsOpen()) << "a menu stops both timers";
  EXPECT_EQ(a.window.timeoutProgress.value, 10);
  a.menuDidClose(AlertMenu::process);
  EXPECT_EQ(a.window.timeoutProgress.value, 60);
  w.loop.advance(59s);
  a.clickMoreOptions();
  w.loop.advance(59s);
  a.resizeNotification();
  EXPECT_EQ(a.window.manageAtNetworkLevelString.text, "hide pf options...");
  // Other senders, and rows out of range, end nothing.
  a.userAction(a.window.quietButton);
  a.selectActionMatrix(7);
  EXPECT_TRUE(w.globals.notificationOnScreen);
  a.closeNotify();
  EXPECT_FALSE(a.window.shown);
  EXPECT_FALSE(w.globals.notificationOnScreen);
  EXPECT_EQ(w.globals.synchronizedNotification.suspendCount(), 1) << "the request still waits";
  w.loop.advance(59s);
  EXPECT_TRUE(a.alertIsOpen());
  w.loop.advance(1s);
  EXPECT_EQ(w.sockets.sentLines(), Texts{w.line + " 0 # #"}) << "the hidden alert expires";
  w.expectIdle();
}

TEST(Alert, TheOpeningRestoresTheScopeAsTheBoxOfOptionsStands) {
  AlertWorld w;
  w.globals.moreOptionsOpen = true;
  w.globals.lastActionRow = kRowNetwork;
  auto& v6 = w.open("2001:db8::1");
  EXPECT_EQ(v6.window.actionMatrix.selectedRow, kRowAddress) << "no network is known for IPv6 yet";
  EXPECT_FALSE(v6.window.quietButton.hidden);
  EXPECT_TRUE(v6.window.matrixlabel3.hidden);
  EXPECT_FALSE(v6.window.matrixlabel3V6.hidden);
  v6.clickMoreOptions();
  EXPECT_EQ(v6.window.actionMatrix.selectedRow, kRowApp);
  EXPECT_TRUE(v6.window.matrixBox.hidden);
  EXPECT_FALSE(w.globals.moreOptionsOpen);
  EXPECT_EQ(w.defaults.boolForKey("showMoreOptions"), false);
  v6.userAction(v6.window.advancedPass);

  w.globals.globalAppsArray.clear();
  w.globals.preferences.updateConfiguration([](auto& c) { c.notificationDefaultChoice = kTimeNextLogin; });
  auto& v4 = w.open();
  EXPECT_EQ(v4.window.actionMatrix.selectedRow, kRowApp);
  EXPECT_EQ(v4.window.timeButton.selectedIndex, kTimeForever);
  EXPECT_EQ(w.globals.preferences.configuration().notificationDefaultChoice, kTimeForever)
      << "with the box closed the opening itself resets the choice";
  EXPECT_EQ(v4.window.matrixnetB.title, "192.0.0.0/16");
}

TEST(Alert, TypedIpv6NetworksAreCheckedBeforeRowThreeCanBeChosen) {
  AlertWorld w;
  auto& a = w.open("2001:db8::1");
  struct Case {
    const char* text;
    bool accepted;
    const char* error;
  };
  for (const Case& c : {Case{"2001:db8::/32", true, ""}, Case{"2a00::/16", false, "address outside network range"},
                        Case{"no network", false, "invalid IPv6 network address"}}) {
    SCOPED_TRACE(c.text);
    a.setSubnetV6(c.text);
    EXPECT_EQ(a.window.actionMatrix.selectedRow, c.accepted ? kRowNetwork : kRowAddress);
    EXPECT_EQ(a.window.actionMatrix.cellEnabled[kRowNetwork], c.accepted);
    EXPECT_EQ(a.window.addSubnetError.text, c.error);
    EXPECT_EQ(a.window.addSubnetCaution.hidden, c.accepted);
    EXPECT_EQ(a.window.matrixlabel3V6Title.title, c.accepted ? c.text : "Set network address...");
  }
  a.setSubnetV6("");
  EXPECT_EQ(a.window.addSubnetError.text, "invalid IPv6 network address") << "emptying leaves the warning";
  EXPECT_EQ(w.reply(answer(true, AlertScope::network, "2a00::/16")), "refused: address outside network range");
  EXPECT_TRUE(a.alertIsOpen());
  EXPECT_EQ(w.reply(answer(false, AlertScope::network, "2001:db8::/32")), " 4 0 1");
  EXPECT_EQ(w.curl()->appMatches, Texts{"#2001:db8::/32"});

  auto& mapped = w.open("::ffff:10.1.2.3");
  EXPECT_EQ(mapped.window.matrixnetC.title, "::ffff:10.1.2.0/24") << "an address with dots is offered IPv4 networks";
  EXPECT_TRUE(w.reply(answer(true, AlertScope::network, "10.0.0.0/8")).starts_with("refused: "));
  EXPECT_TRUE(mapped.alertIsOpen());
}

TEST(Alert, OneEndingOnlyWhenATypedAnswerRacesTheTimer) {
  AlertWorld w;
  auto& a = w.open();
  const std::string first = w.tag();
  w.loop.post([&] { w.agent.alertAnswers.answer(first, answer(false)); });
  w.loop.advance(60s);
  a.userAction(a.window.advancedPass);
  EXPECT_FALSE(w.agent.alertAnswers.answer(first, answer(false)).answered);
  EXPECT_EQ(w.sockets.sentLines(), Texts{w.line + " 1 # #"});
  EXPECT_EQ(w.alerts.closed, Texts{first + " answered 1 # #"});
  w.expectIdle();
}

TEST(Alert, TheProcessMenuRunsCommandsWithArgumentsOffTheMainLoop) {
  AlertWorld w;
  auto& a = w.open();
  a.killProcess();
  a.revealAppInFinder();
  a.copyPortToClipboard();
  a.copyHostnameToClipboard();
  w.globals.globalBackground.stop();
  auto requests = w.runner.requests();
  std::erase_if(requests, [](const auto& r) { return r.launchPath != "/bin/kill"; });
  ASSERT_EQ(requests.size(), 1u) << "the only command besides the opening's look-ups";
  EXPECT_EQ(requests[0].arguments, Texts{"300"});
  auto events = w.front.desktop.events();
  std::ranges::sort(events);
  EXPECT_EQ(events, (Texts{"copy 443", "play Bottle.aiff", "reveal /usr/bin/curl"}))
      << "the opening's sound; no host name known: nothing copied";
  EXPECT_TRUE(a.alertIsOpen()) << "killing leaves the alert to be answered";
}

// Alerts go off by their switch, or from an alert once its sheet is confirmed (which passes the
// app); either way the asking apps turn, and the switch turns the mixed ones back.
TEST(Alert, AlertsOffTurnAskingAppsKeepingTheirEntriesInTheBackupAndAlertsOnTurnMixedOnesBack) {
  struct Row {
    const char* path;
    std::int64_t state;
    Texts matches;
    std::int64_t stateOff;
    Texts matchesOff, backup;
    std::int64_t stateOn;
  };
  const Texts both{"@192.0.2.1", "#_range1:9"};
  const Row rows[] = {
      {"/opt/pass-with-both", 0, both, 0, both, {}, 4},  // a snapshot may hold entries under a pure state
      {"/opt/block", 1, {}, 1, {}, {}, 1},
      {"/opt/mixed-pass", 2, {"#10.0.0.1"}, 2, {"#10.0.0.1"}, {}, 2},
      {"/opt/mixed-block", 3, both, 3, both, {}, 4},
      {"/opt/ask-none", 4, {}, 0, {}, {}, 0},
      {"/opt/ask-pass", 4, {"@443"}, 0, {}, {"@443"}, 0},
      {"/opt/ask-block", 4, {"#443"}, 2, {"#443"}, {"#443"}, 2},
      {"/opt/ask-both", 4, both, 2, both, both, 4},
  };
  for (const bool fromTheAlert : {false, true}) {
    SCOPED_TRACE(fromTheAlert ? "silenced from the alert" : "the alerts switch");
    AlertWorld w;
    std::vector<std::shared_ptr<HXApplication>> apps;
    for (const auto& row : rows) apps.push_back(w.load(row.path, row.state, row.matches));
    const auto& leds = w.controller.appsGrid.toolbarLeds;
    w.controller.pasteboardIsBlockedOrAllowed = 4;
    if (fromTheAlert) {
      auto& a = w.open();
      w.dialogs.script(AlertResponse{1000});
      w.dialogs.script(AlertResponse{1001});
      a.clickSilenceBtn();
      w.loop.runPending();
      ASSERT_EQ(w.dialogs.shown().size(), 1u);
      EXPECT_EQ(w.dialogs.shown()[0].messageText, "Disable Notification Alerts?");
      EXPECT_EQ(w.dialogs.shown()[0].buttons, (Texts{"Keep Alerts Enabled", "Disable Notification Alerts"}));
      EXPECT_EQ(a.window.timeoutProgress.value, 60) << "kept: the full time runs again";
      w.loop.advance(30s);
      EXPECT_EQ(a.window.timeoutProgress.value, 30);
      const auto sent = w.sockets.sentLines().size();
      a.clickSilenceBtn();
      w.loop.runPending();
      EXPECT_EQ(w.repliesSince(sent), " 0 # #");
      EXPECT_EQ(w.posted, (Texts{"silenceNotifications", "copyArrayAppLibrary"}));
      EXPECT_EQ(w.alerts.closed, Texts{w.tag() + " silenced 0 # #"});
      w.expectIdle();
    } else {
      w.controller.switchNotificationAlertsStatus();
      EXPECT_EQ(w.controller.pasteboardIsBlockedOrAllowed, 5) << "no pasted ask state with alerts off";
      EXPECT_FALSE(w.preferences.view.toggleNotificationsBtn.state);
    }
    ASSERT_FALSE(w.globals.enableNotifications);
    w.globals.synchronizedNotification.sync([] {});
    w.loop.runPending();
    EXPECT_EQ(leds.notificationsLabel.text, "NOTIFICATIONS DISABLED") << "kept across the library's redraw";
    EXPECT_EQ(leds.notificationsImage.name, "NSStatusUnavailable");
    EXPECT_EQ(w.listsSent(), 1) << "the daemon hears the turned apps";
    w.globals.notificationCenter.post("reenableNotifications");  // acts only while alerts are on
    for (std::size_t i = 0; i < apps.size(); ++i) {
      SCOPED_TRACE(rows[i].path);
      EXPECT_EQ(apps[i]->appIsBlockedOrAllowed, rows[i].stateOff);
      EXPECT_EQ(apps[i]->appMatches, rows[i].matchesOff);
      EXPECT_EQ(apps[i]->appMatchesBackup, rows[i].backup);
    }
    w.controller.pasteboardIsBlockedOrAllowed = 4;
    w.controller.switchNotificationAlertsStatus();
    ASSERT_TRUE(w.globals.enableNotifications);
    EXPECT_TRUE(w.preferences.view.toggleNotificationsBtn.state);
    EXPECT_EQ(leds.notificationsLabel.text, "NOTIFICATIONS ENABLED");
    EXPECT_EQ(leds.notificationsImage.name, "NSStatusAvailable");
    EXPECT_EQ(w.controller.pasteboardIsBlockedOrAllowed, 4);
    w.globals.synchronizedNotification.sync([] {});
    EXPECT_EQ(w.listsSent(), 2);
    for (std::size_t i = 0; i < apps.size(); ++i) {
      SCOPED_TRACE(rows[i].path);
      EXPECT_EQ(apps[i]->appIsBlockedOrAllowed, rows[i].stateOn);
      EXPECT_EQ(apps[i]->appMatchesBackup, rows[i].backup) << "the backup is not read back, nor emptied";
    }
  }
}

TEST(Alert, ATimerOfAnAppGoneFromTheLibraryChangesNothingButTheMirrorIsSentAgain) {
  AlertWorld w;
  w.load("/opt/keep", 0);
  const auto gone = w.load("/opt/gone.xpc/Contents/MacOS/gone", 1);
  gone->setAppTimer(30);
  gone->appHasTimer = true;
  w.controller.removeAllXPCServices();
  w.pass(0s);
  const auto sent = w.listsSent();
  w.pass(30s);
  EXPECT_EQ(w.expiries(), 1);
  EXPECT_EQ(gone->appIsBlockedOrAllowed, 1) << "not turned to asking";
  EXPECT_TRUE(gone->appHasTimer) << "nothing found by its name to stop";
  EXPECT_EQ(w.mirrorNames(), Texts{"keep"});
  EXPECT_EQ(w.listsSent(), sent + 1);
}
