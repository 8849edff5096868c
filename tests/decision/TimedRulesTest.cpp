// Answers that do not hold for ever: the limits of an app verdict run out in virtual time and the
// app asks again, quiet time answers a burst with one alert and leaves its addresses as rules, and
// switching alerts off and on turns the asking apps.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "link/ChannelWorld.h"
#include "management/LibraryWorld.h"
#include "rules/AppPaths.h"
#include "rules/HXApplication.h"

using namespace halvex;
using namespace halvex::test;
using namespace std::chrono_literals;

namespace {

using Texts = std::vector<std::string>;

// An agent with alerts on; curl (pid 300) asks.
struct TimedWorld : ChannelWorld {
  TimedWorld() {
    globals.enableNotifications = true;
    processes.add(300, "/usr/bin/curl", 501);
    globals.notificationCenter.addObserver("expireApp", [this](const Notification&) { ++expiries; });
  }
  // One request of curl to `address`: the suffix of its one reply, or "alert" when it opened one.
  std::string ask(const std::string& address) {
    const std::string line = "t " + address + " 443 300 TCP 4 0";
    const auto sentBefore = sockets.sentLines().size();
    const auto alertsBefore = alerts.shown.size();
    intake(line);
    loop.runPending();
    if (alerts.shown.size() > alertsBefore) return "alert";
    const auto sent = sockets.sentLines();
    return sent.size() == sentBefore + 1 ? sent.back().substr(line.size()) : "not one reply";
  }
  std::shared_ptr<HXNotifyWindowController> openAlert() const {
    const auto tags = agent.alertAnswers.openAlerts();
    return tags.empty() ? nullptr : agent.alertAnswers.find(tags.front());
  }
  AnswerOutcome answer(const AlertAnswer& a) { return agent.alertAnswers.answer(openAlert()->parameters.tagNotify, a); }
  // Time passes, and the library's end of a timed rule (a task of the synchronised queue) is done.
  void pass(std::chrono::seconds by) {
    loop.advance(by);
    globals.synchronizedNotification.sync([] {});
    loop.runPending();
  }
  std::shared_ptr<HXApplication> curl() const { return findAppForPath(globals.globalAppsArray, "/usr/bin/curl"); }
  // An app in the library and its mirror, as a loaded configuration leaves it.
  std::shared_ptr<HXApplication> load(const std::string& path, std::int64_t state, Texts matches) {
    auto app = controller.generateHXApplication(state, path);
    app->appMatches = std::move(matches);
    controller.appsLibraryController.addObject(app);
    globals.globalAppsArray.push_back(app);
    return app;
  }
  std::size_t listsSent() const { return std::ranges::count(center.postedNames(), "newAppListReceived"); }

  int expiries = 0;
};

AlertAnswer appFor(std::optional<AppDuration> duration, std::int64_t minutes = 0) {
  AlertAnswer a;
  a.scope = AlertScope::app;
  a.duration = duration;
  a.minutes = minutes;
  return a;
}

AlertAnswer quietAddress(bool pass, std::int64_t seconds) {
  AlertAnswer a;
  a.pass = pass;
  a.scope = AlertScope::address;
  a.quiet = true;
  a.quietSeconds = seconds;
  return a;
}

}  // namespace

TEST(TimedRules, EachLimitOfAnAppVerdictEndsOnlyWhenItShouldAndTheAppThenAsksAgainInStateFour) {
  struct Row {
    const char* what;
    std::optional<AppDuration> duration;  // none: nobody answers, the alert expires
    std::int64_t minutes;
    Texts knownEntries;                         // curl known in state 4 with these, or new when empty
    std::optional<std::chrono::seconds> lasts;  // none: for the agent's life
  };
  const Row rows[] = {
      {"the slider at 1", AppDuration::minutes, 1, {}, 60s},
      {"an expiry with the slider's item selected, known app", std::nullopt, 7, {"@198.51.100.1"}, 30s},
      {"until logout", AppDuration::untilLogout, 0, {}, std::nullopt},
      {"forever, known app", AppDuration::forever, 0, {"@198.51.100.1"}, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    TimedWorld w;
    if (!row.knownEntries.empty()) w.load("/usr/bin/curl", 4, row.knownEntries);
    ASSERT_EQ(w.ask("192.0.2.1"), "alert");
    if (row.duration) {
      ASSERT_TRUE(w.answer(appFor(row.duration, row.minutes)).answered);
    } else {
      w.openAlert()->updateWithSlider(static_cast<double>(row.minutes));
      w.openAlert()->clickPopupButton(kTimeMenuItem);
      w.pass(60s);
    }
    EXPECT_EQ(w.sockets.sentLines().back(), "t 192.0.2.1 443 300 TCP 4 0 0 # #");
    const auto app = w.curl();
    ASSERT_TRUE(app);
    EXPECT_TRUE(app->appMatches.empty()) << "an app verdict wipes the entries";
    EXPECT_EQ(app->appIsPersistent, row.duration == AppDuration::forever);
    EXPECT_EQ(w.loop.timerCount(), row.lasts ? 1u : 0u) << "one timer at most, none without an end";

    if (!row.lasts) {
      w.pass(24h);
      EXPECT_EQ(w.expiries, 0);
      EXPECT_EQ(w.ask("192.0.2.2"), " 0 # #");
      EXPECT_EQ(app->appHasTimer, row.duration == AppDuration::untilLogout) << "kept out of snapshots";
      continue;
    }
    w.pass(*row.lasts - 1s);
    EXPECT_EQ(w.ask("192.0.2.2"), " 0 # #") << "the rule holds to its last second";
    w.pass(1s);
    EXPECT_EQ(app->appIsBlockedOrAllowed, 4);
    EXPECT_FALSE(app->appHasTimer);
    w.pass(2h);
    EXPECT_EQ(w.expiries, 1) << "no second timer was left running";
    EXPECT_EQ(w.ask("192.0.2.2"), "alert") << "the app asks again";
    EXPECT_EQ(w.curl(), app);
  }
}

TEST(TimedRules, QuietTimeAnswersABurstWithOneAlertAndLeavesItsAddressesAsRules) {
  for (const bool pass : {true, false}) {
    SCOPED_TRACE(pass ? "pass" : "block");
    TimedWorld w;
    const std::string verdict = pass ? " 4 0 0" : " 4 0 1";
    const std::string mark = pass ? "@" : "#";
    ASSERT_EQ(w.ask("192.0.2.1"), "alert");
    ASSERT_TRUE(w.answer(quietAddress(pass, 30)).answered);
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

TEST(TimedRules, TheSlidersKeepWholeValuesInRangeAndASecondQuietStartEndsWithTheFirstTimer) {
  TimedWorld w;
  w.globals.preferences.updateConfiguration([](auto& c) { c.notificationDefaultTime = 0; });
  ASSERT_EQ(w.ask("192.0.2.1"), "alert");
  const auto alert = w.openAlert();
  EXPECT_EQ(alert->window.timeMenuItem.title, "This app for 1 minute") << "a stored 0 is brought into the range";
  for (const auto& [answer, error] :
       {std::pair{quietAddress(true, 61), "the quiet time is 1 to 60 seconds"},
        std::pair{appFor(AppDuration::minutes, 1441), "the app's minutes are 1 to 1440"}}) {
    EXPECT_EQ(w.answer(answer).error, error);
  }
  EXPECT_TRUE(alert->alertIsOpen());
  EXPECT_EQ(alert->window.actionMatrix.selectedRow, kRowApp) << "a refused answer moves no control";
  EXPECT_EQ(w.globals.preferences.configuration().quietTime, 20);
  for (const auto& [seconds, title] :
       {std::pair{1.0, "Silence for 1 seconds"}, std::pair{20.9, "Silence for 20 seconds"}}) {
    alert->updateQuietSlider(seconds);
    EXPECT_EQ(alert->window.quietButton.title, title);
    EXPECT_EQ(w.globals.preferences.configuration().quietTime, std::floor(seconds));
  }

  ASSERT_TRUE(w.answer(quietAddress(true, 0)).answered) << "0: the stored 20 seconds";
  EXPECT_FALSE(alert->window.quietSlider.hidden);
  EXPECT_EQ(w.globals.preferences.configuration().quietButtonState, 1);
  w.pass(10s);
  const auto timers = w.loop.timerCount();
  w.curl()->setQuiet("block", 20);
  EXPECT_EQ(w.loop.timerCount(), timers);
  w.pass(9s);
  EXPECT_EQ(w.ask("192.0.2.2"), " 4 0 1") << "the flags of the second start";
  w.pass(1s);
  EXPECT_EQ(w.ask("192.0.2.3"), "alert") << "20 seconds after the first start, not the second";
}

TEST(TimedRules, AlertsOffTurnAskingAppsKeepingTheirEntriesInTheBackupAndAlertsOnTurnMixedOnesBack) {
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
    TimedWorld w;
    std::vector<std::shared_ptr<HXApplication>> apps;
    for (const auto& row : rows) apps.push_back(w.load(row.path, row.state, row.matches));
    if (fromTheAlert) {
      ASSERT_EQ(w.ask("192.0.2.1"), "alert");
      w.dialogs.script(AlertResponse{1001});
      w.openAlert()->clickSilenceBtn();
      w.loop.runPending();
    } else {
      w.controller.switchNotificationAlertsStatus();
    }
    ASSERT_FALSE(w.globals.enableNotifications);
    w.globals.synchronizedNotification.sync([] {});
    EXPECT_EQ(w.listsSent(), 1u) << "the daemon hears the turned apps";
    w.globals.notificationCenter.post("reenableNotifications");  // acts only while alerts are on
    for (std::size_t i = 0; i < apps.size(); ++i) {
      SCOPED_TRACE(rows[i].path);
      EXPECT_EQ(apps[i]->appIsBlockedOrAllowed, rows[i].stateOff);
      EXPECT_EQ(apps[i]->appMatches, rows[i].matchesOff);
      EXPECT_EQ(apps[i]->appMatchesBackup, rows[i].backup);
    }
    w.controller.switchNotificationAlertsStatus();
    ASSERT_TRUE(w.globals.enableNotifications);
    for (std::size_t i = 0; i < apps.size(); ++i) {
      SCOPED_TRACE(rows[i].path);
      EXPECT_EQ(apps[i]->appIsBlockedOrAllowed, rows[i].stateOn);
      EXPECT_EQ(apps[i]->appMatchesBackup, rows[i].backup) << "the backup is not read back, nor emptied";
    }
  }
}

TEST(TimedRules, ATimerOfAnAppGoneFromTheLibraryChangesNothingButTheMirrorIsSentAgain) {
  TimedWorld w;
  w.load("/opt/keep", 0, {});
  const auto gone = w.load("/opt/gone.xpc/Contents/MacOS/gone", 1, {});
  startTimer(*gone, 30);
  w.controller.removeAllXPCServices();
  w.pass(0s);
  const auto sent = w.listsSent();
  w.pass(30s);
  EXPECT_EQ(w.expiries, 1);
  EXPECT_EQ(gone->appIsBlockedOrAllowed, 1) << "not turned to asking";
  EXPECT_TRUE(gone->appHasTimer) << "nothing found by its name to stop";
  ASSERT_EQ(w.globals.globalAppsArray.size(), 1u);
  EXPECT_EQ(w.globals.globalAppsArray[0]->appName, "keep");
  EXPECT_EQ(w.listsSent(), sent + 1);
}
