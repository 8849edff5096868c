#include <gtest/gtest.h>

#include <algorithm>

#include "link/ChannelWorld.h"
#include "rules/AppPaths.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"

using namespace halvex;
using namespace halvex::test;
using namespace std::chrono_literals;

namespace {

using Texts = std::vector<std::string>;

class AlertTest : public ::testing::Test {
 protected:
  AlertTest() {
    world.globals.enableNotifications = true;
    world.processes.add(300, "/usr/bin/curl", 501);
    for (const char* name : {"copyArrayAppLibrary", "sendConfiguration", "expireApp", "silenceNotifications"})
      world.globals.notificationCenter.addObserver(name, [this, name](const Notification&) { posted.push_back(name); });
  }

  // A known app whose own entries settle nothing: its binary is listed elsewhere, so the check
  // walks none of them and only the alert can repeat one.
  std::shared_ptr<HXApplication> known(std::int64_t state, Texts matches) {
    auto app = generateHXApplication(world.context, state, "/usr/bin/curl");
    app->appMatches = std::move(matches);
    app->appBinaries = {"/elsewhere/curl"};
    world.globals.globalAppsArray.push_back(app);
    return app;
  }
  // Opens an alert for curl asking `address` port 443; answers its controller.
  HXNotifyWindowController& open(const std::string& address = "192.0.2.1") {
    line = "t " + address + " 443 300 TCP 4 0";
    world.intake(line);
    world.loop.runPending();
    alert = world.agent.alertAnswers.find(tag());
    EXPECT_TRUE(alert) << "an alert is open";
    return *alert;
  }
  std::string openAndAnswer(const AlertAnswer& answer) {
    open();
    const auto before = world.sockets.sentLines().size();
    EXPECT_TRUE(world.agent.alertAnswers.answer(tag(), answer).answered);
    return lastSuffix(before);
  }
  std::string lastSuffix(std::size_t before) const {
    const auto sent = world.sockets.sentLines();
    return sent.size() == before + 1 ? sent.back().substr(line.size()) : "no single reply";
  }
  std::string tag() const { return std::to_string(world.globals.requestCounter); }
  std::shared_ptr<HXApplication> curl() const { return findAppForPath(world.globals.globalAppsArray, "/usr/bin/curl"); }
  void expectIdle() const {
    EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 0);
    EXPECT_FALSE(world.globals.notificationOnScreen);
    EXPECT_TRUE(world.agent.alertAnswers.openAlerts().empty());
  }
  // The library ends a timed rule on the synchronised queue: the next request waits for it.
  void settle() {
    world.globals.synchronizedNotification.sync([] {});
    world.loop.runPending();
  }
  static AlertAnswer make(bool pass, std::optional<AlertScope> scope = {}, std::string network = {}) {
    AlertAnswer a;
    a.pass = pass;
    a.scope = scope;
    a.network = std::move(network);
    return a;
  }

  std::string line;
  ChannelWorld world;
  std::shared_ptr<HXNotifyWindowController> alert;
  Texts posted;
};

}  // namespace

TEST_F(AlertTest, EachScopeRepliesFirstThenMakesItsRuleAsTheDecisionTableSays) {
  struct Row {
    const char* what;
    AlertAnswer answer;
    std::optional<std::int64_t> knownState;  // none: a new app
    Texts knownMatches;
    std::string suffix;
    std::int64_t stateAfter;
    Texts matchesAfter;
    Texts notifications;
  };
  const Row rows[] = {
      {"new app passed", make(true), std::nullopt, {}, " 0 # #", 0, {}, {"copyArrayAppLibrary"}},
      {"known app blocked: entries wiped", make(false, AlertScope::app), 4, {"@22"}, " 1 # #", 1, {}, {}},
      {"new app, port",
       make(false, AlertScope::port),
       std::nullopt,
       {},
       " 4 1 1",
       4,
       {"#443"},
       {"copyArrayAppLibrary"}},
      {"known app, port to the front", make(true, AlertScope::port), 4, {"@22"}, " 4 1 0", 4, {"@443", "@22"}, {}},
      {"known app, port repeated", make(true, AlertScope::port), 4, {"@443"}, " 4 1 0", 4, {"@443"}, {}},
      {"new app, address",
       make(true, AlertScope::address),
       std::nullopt,
       {},
       " 4 0 0",
       4,
       {"@192.0.2.1"},
       {"copyArrayAppLibrary", "sendConfiguration"}},
      {"known app in state 0, address to the end",
       make(false, AlertScope::address),
       0,
       {"@10.0.0.1"},
       " 4 0 1",
       0,
       {"@10.0.0.1", "#192.0.2.1"},
       {}},
      {"known app, address repeated",
       make(false, AlertScope::address),
       4,
       {"#192.0.2.1"},
       " 4 0 1",
       4,
       {"#192.0.2.1"},
       {}},
      {"new app, offered network by prefix",
       make(true, AlertScope::network, "/16"),
       std::nullopt,
       {},
       " 4 0 0",
       4,
       {"@192.0.0.0/16"},
       {"copyArrayAppLibrary", "sendConfiguration"}},
      {"known app, network repeated: still written",
       make(false, AlertScope::network, "192.0.2.0/24"),
       4,
       {"#192.0.2.0/24"},
       " 4 0 1",
       4,
       {"#192.0.2.0/24"},
       {"sendConfiguration"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    world.globals.globalAppsArray.clear();
    posted.clear();
    if (row.knownState) known(*row.knownState, row.knownMatches);
    EXPECT_EQ(openAndAnswer(row.answer), row.suffix);
    ASSERT_TRUE(curl());
    EXPECT_EQ(curl()->appIsBlockedOrAllowed, row.stateAfter);
    EXPECT_EQ(curl()->appMatches, row.matchesAfter);
    EXPECT_EQ(posted, row.notifications);
    expectIdle();
    EXPECT_EQ(world.alerts.closed.back(), tag() + " answered" + row.suffix);
  }
}

TEST_F(AlertTest, TheTimeItemDecidesHowLongAnAppVerdictHoldsAndTheButtonsSayIt) {
  auto& a = open();
  EXPECT_EQ(a.window.advancedPass.title, "Pass this app forever");
  a.updateWithSlider(1);
  a.clickPopupButton(kTimeMenuChooser);
  EXPECT_EQ(a.window.timeButton.selectedIndex, kTimeMenuItem) << "the slider's item stands for its minutes";
  EXPECT_EQ(a.window.advancedBlock.title, "Block this app for 1 minute");
  a.updateWithSlider(5);
  EXPECT_EQ(a.window.advancedBlock.title, "Block this app for 5 minutes");
  EXPECT_EQ(world.globals.preferences.configuration().notificationDefaultChoice, kTimeMenuItem);
  a.userAction(a.window.advancedBlock);
  EXPECT_FALSE(curl()->appIsPersistent);
  posted.clear();
  world.loop.advance(299s);
  EXPECT_EQ(posted, Texts{});
  world.loop.advance(1s);
  EXPECT_EQ(posted, Texts{"expireApp"});
  settle();

  world.globals.globalAppsArray.clear();
  AlertAnswer logout = make(true, AlertScope::app);
  logout.duration = AppDuration::untilLogout;
  openAndAnswer(logout);
  EXPECT_FALSE(curl()->appIsPersistent);
  EXPECT_TRUE(curl()->appHasTimer);
  EXPECT_EQ(world.loop.timerCount(), 0u) << "no timer: the app lives until the agent quits";
}

TEST_F(AlertTest, TheExpiryRunsInVirtualTimeAndDecidesTheWholeAppForThirtySeconds) {
  for (const bool passes : {true, false}) {
    SCOPED_TRACE(passes ? "expiry passes" : "expiry blocks");
    world.globals.globalAppsArray.clear();
    world.globals.preferences.updateConfiguration([&](auto& c) { c.passAppWhenNotificationExpires = passes; });
    auto& a = open();
    EXPECT_EQ(a.window.timeoutProgress.hidden, !passes) << "the bar's colour tells what the expiry does";
    a.updateWithSlider(7);
    a.clickPopupButton(kTimeMenuItem);
    a.selectActionMatrix(kRowAddress);
    const auto before = world.sockets.sentLines().size();
    world.loop.advance(59s);
    EXPECT_EQ(a.window.timeoutProgress.value, 1);
    EXPECT_TRUE(a.alertIsOpen());
    world.loop.advance(1s);
    EXPECT_EQ(lastSuffix(before), passes ? " 0 # #" : " 1 # #") << "the whole app, whatever row was selected";
    EXPECT_EQ(world.alerts.closed.back(), tag() + " expired" + (passes ? " 0 # #" : " 1 # #"));
    expectIdle();
    posted.clear();
    world.loop.advance(29s);
    EXPECT_EQ(posted, Texts{});
    world.loop.advance(1s);
    EXPECT_EQ(posted, Texts{"expireApp"}) << "30 seconds, not the slider's minutes";
    settle();
  }
}

TEST_F(AlertTest, TouchingTheAlertGivesTheFullTimeAgain) {
  auto& a = open();
  world.loop.advance(50s);
  a.menuWillOpen(AlertMenu::process);
  world.loop.advance(100s);
  EXPECT_TRUE(a.alertIsOpen()) << "a menu stops both timers";
  EXPECT_EQ(a.window.timeoutProgress.value, 10);
  a.menuDidClose(AlertMenu::process);
  EXPECT_EQ(a.window.timeoutProgress.value, 60);
  world.loop.advance(59s);
  a.clickMoreOptions();
  world.loop.advance(59s);
  a.resizeNotification();
  EXPECT_EQ(a.window.manageAtNetworkLevelString.text, "hide pf options...");
  world.loop.advance(59s);
  EXPECT_TRUE(a.alertIsOpen());
  world.loop.advance(1s);
  EXPECT_FALSE(a.alertIsOpen());
  expectIdle();
}

TEST_F(AlertTest, TheOpeningRestoresTheScopeAsTheBoxOfOptionsStands) {
  world.globals.moreOptionsOpen = true;
  world.globals.lastActionRow = kRowNetwork;
  auto& v6 = open("2001:db8::1");
  EXPECT_EQ(v6.window.actionMatrix.selectedRow, kRowAddress) << "no network is known for IPv6 yet";
  EXPECT_FALSE(v6.window.quietButton.hidden);
  EXPECT_TRUE(v6.window.matrixlabel3.hidden);
  EXPECT_FALSE(v6.window.matrixlabel3V6.hidden);
  v6.clickMoreOptions();
  EXPECT_EQ(v6.window.actionMatrix.selectedRow, kRowApp);
  EXPECT_TRUE(v6.window.matrixBox.hidden);
  EXPECT_FALSE(world.globals.moreOptionsOpen);
  EXPECT_EQ(world.defaults.boolForKey("showMoreOptions"), false);
  v6.userAction(v6.window.advancedPass);

  world.globals.globalAppsArray.clear();
  world.globals.preferences.updateConfiguration([](auto& c) { c.notificationDefaultChoice = kTimeNextLogin; });
  auto& v4 = open();
  EXPECT_EQ(v4.window.actionMatrix.selectedRow, kRowApp);
  EXPECT_EQ(v4.window.timeButton.selectedIndex, kTimeForever);
  EXPECT_EQ(world.globals.preferences.configuration().notificationDefaultChoice, kTimeForever)
      << "with the box closed the opening itself resets the choice";
  EXPECT_EQ(v4.window.matrixnetB.title, "192.0.0.0/16");
}

TEST_F(AlertTest, TypedIpv6NetworksAreCheckedBeforeRowThreeCanBeChosen) {
  auto& a = open("2001:db8::1");
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
  const auto refused = world.agent.alertAnswers.answer(tag(), make(true, AlertScope::network, "2a00::/16"));
  EXPECT_FALSE(refused.answered);
  EXPECT_EQ(refused.error, "address outside network range");
  EXPECT_TRUE(a.alertIsOpen());
  ASSERT_TRUE(world.agent.alertAnswers.answer(tag(), make(false, AlertScope::network, "2001:db8::/32")).answered);
  EXPECT_EQ(curl()->appMatches, Texts{"#2001:db8::/32"});

  auto& mapped = open("::ffff:10.1.2.3");
  EXPECT_EQ(mapped.window.matrixnetC.title, "::ffff:10.1.2.0/24") << "an address with dots is offered IPv4 networks";
  EXPECT_FALSE(world.agent.alertAnswers.answer(tag(), make(true, AlertScope::network, "10.0.0.0/8")).answered);
  EXPECT_TRUE(mapped.alertIsOpen());
}

TEST_F(AlertTest, SilencingAsksInASheetAndEndsTheAlertOnlyWhenConfirmed) {
  auto& a = open();
  world.dialogs.script(AlertResponse{1000});
  a.clickSilenceBtn();
  world.loop.runPending();
  ASSERT_EQ(world.dialogs.shown().size(), 1u);
  EXPECT_EQ(world.dialogs.shown()[0].messageText, "Disable Notification Alerts?");
  EXPECT_EQ(world.dialogs.shown()[0].buttons, (Texts{"Keep Alerts Enabled", "Disable Notification Alerts"}));
  EXPECT_TRUE(a.alertIsOpen());
  world.loop.advance(60s);
  EXPECT_FALSE(a.alertIsOpen()) << "kept: the time runs again";

  world.globals.globalAppsArray.clear();
  auto& b = open();
  posted.clear();
  world.dialogs.script(AlertResponse{1001});
  const auto before = world.sockets.sentLines().size();
  b.clickSilenceBtn();
  world.loop.runPending();
  EXPECT_EQ(lastSuffix(before), " 0 # #");
  EXPECT_EQ(posted, (Texts{"silenceNotifications", "copyArrayAppLibrary"}));
  EXPECT_FALSE(world.globals.enableNotifications);
  EXPECT_EQ(world.alerts.closed.back(), tag() + " silenced 0 # #");
  expectIdle();
}

TEST_F(AlertTest, OneEndingOnlyAndTheNextRequestIsDecidedByTheNewRule) {
  auto& a = open();
  const std::string first = tag();
  // A typed answer and the timer in the same loop turn.
  world.loop.post([&] { world.agent.alertAnswers.answer(first, make(false)); });
  world.loop.advance(60s);
  a.userAction(a.window.advancedPass);
  EXPECT_FALSE(world.agent.alertAnswers.answer(first, make(false)).answered);
  EXPECT_EQ(world.sockets.sentLines(), Texts{line + " 1 # #"});
  expectIdle();

  world.intake(line);
  world.loop.runPending();
  EXPECT_EQ(world.sockets.sentLines().back(), line + " 1 # #") << "settled by the rule the answer made";
  EXPECT_EQ(world.alerts.shown.size(), 1u);
}

TEST_F(AlertTest, AWindowClosedByTheDesktopStillExpiresAndOtherSendersDoNothing) {
  auto& a = open();
  a.userAction(a.window.quietButton);
  a.selectActionMatrix(7);
  EXPECT_TRUE(a.alertIsOpen());
  a.closeNotify();
  EXPECT_FALSE(a.window.shown);
  EXPECT_FALSE(world.globals.notificationOnScreen);
  EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 1) << "the request still waits";
  world.loop.advance(60s);
  EXPECT_EQ(world.sockets.sentLines().back(), line + " 0 # #");
  expectIdle();
}

TEST_F(AlertTest, TheProcessMenuRunsCommandsWithArgumentsOffTheMainLoop) {
  auto& a = open();
  a.killProcess();
  a.revealAppInFinder();
  a.copyPortToClipboard();
  a.copyHostnameToClipboard();
  world.globals.globalBackground.stop();
  auto requests = world.runner.requests();
  std::erase_if(requests, [](const auto& r) { return r.launchPath != "/bin/kill"; });
  ASSERT_EQ(requests.size(), 1u) << "the only command besides the opening's look-ups";
  EXPECT_EQ(requests[0].arguments, Texts{"300"});
  auto events = world.front.desktop.events();
  std::ranges::sort(events);
  EXPECT_EQ(events, (Texts{"copy 443", "play Bottle.aiff", "reveal /usr/bin/curl"}))
      << "the opening's sound; no host name known: nothing copied";
  EXPECT_TRUE(a.alertIsOpen()) << "killing leaves the alert to be answered";
}

TEST_F(AlertTest, AlertsSwitchOffAndOnWithTheirLampsAndTheDaemonHearsOfEach) {
  auto& leds = world.controller.appsGrid.toolbarLeds;
  for (const bool on : {false, true}) {
    SCOPED_TRACE(on ? "on" : "off");
    world.controller.pasteboardIsBlockedOrAllowed = 4;
    const auto heard = world.center.postedNames().size();
    world.controller.switchNotificationAlertsStatus();
    world.globals.synchronizedNotification.sync([] {});
    EXPECT_EQ(world.globals.enableNotifications, on);
    EXPECT_EQ(world.preferences.view.toggleNotificationsBtn.state, on);
    EXPECT_EQ(leds.notificationsLabel.text, on ? "NOTIFICATIONS ENABLED" : "NOTIFICATIONS DISABLED");
    EXPECT_EQ(leds.notificationsImage.name, on ? "NSStatusAvailable" : "NSStatusUnavailable");
    EXPECT_EQ(world.controller.pasteboardIsBlockedOrAllowed, on ? 4 : 5) << "no pasted ask state with alerts off";
    EXPECT_EQ(world.center.postedNames().size(), heard + 1) << "the rules went to the daemon";
  }
}
