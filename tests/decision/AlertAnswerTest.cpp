#include <gtest/gtest.h>

#include "link/ChannelWorld.h"
#include "rules/AppPaths.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"

using namespace halvex;
using namespace halvex::test;

namespace {

using Texts = std::vector<std::string>;

class AlertAnswerTest : public ::testing::Test {
 protected:
  AlertAnswerTest() {
    world.globals.enableNotifications = true;
    world.processes.add(300, "/usr/bin/curl", 501);
    for (const char* name : {"copyArrayAppLibrary", "sendConfiguration", "expireApp"})
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
  // Opens an alert for curl asking 192.0.2.1 port 443; answers the tag's alert and returns the
  // reply's suffix.
  std::string openAndAnswer(const AlertAnswer& answer) {
    const auto before = world.sockets.sentLines().size();
    world.intake(line);
    world.loop.runPending();
    EXPECT_EQ(world.agent.alertAnswers.openAlerts(), Texts{tag()});
    EXPECT_TRUE(world.agent.alertAnswers.answer(tag(), answer));
    const auto sent = world.sockets.sentLines();
    return sent.size() == before + 1 ? sent.back().substr(line.size()) : "no single reply";
  }
  std::string tag() const { return std::to_string(world.globals.requestCounter); }
  std::shared_ptr<HXApplication> curl() const { return findAppForPath(world.globals.globalAppsArray, "/usr/bin/curl"); }

  const std::string line = "t 192.0.2.1 443 300 TCP 4 0";
  ChannelWorld world;
  Texts posted;
};

}  // namespace

TEST_F(AlertAnswerTest, EachScopeRepliesFirstThenMakesItsRuleAsTheDecisionTableSays) {
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
  const auto make = [](bool pass, AlertScope scope, std::string network = {}) {
    AlertAnswer a;
    a.pass = pass;
    a.scope = scope;
    a.network = std::move(network);
    return a;
  };
  const Row rows[] = {
      {"new app passed", make(true, AlertScope::app), std::nullopt, {}, " 0 # #", 0, {}, {"copyArrayAppLibrary"}},
      {"known app blocked: entries wiped", make(false, AlertScope::app), 4, {"@22"}, " 1 # #", 1, {}, {}},
      {"new app, port blocked",
       make(false, AlertScope::port),
       std::nullopt,
       {},
       " 4 1 1",
       4,
       {"#443"},
       {"copyArrayAppLibrary"}},
      {"known app, port to the front", make(true, AlertScope::port), 4, {"@22"}, " 4 1 0", 4, {"@443", "@22"}, {}},
      {"known app, port repeated", make(true, AlertScope::port), 4, {"@443"}, " 4 1 0", 4, {"@443"}, {}},
      {"new app, address passed",
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
       {},
       " 4 0 1",
       0,
       {"#192.0.2.1"},
       {}},
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
    EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 0);
    EXPECT_FALSE(world.globals.notificationOnScreen);
    EXPECT_EQ(world.alerts.closed.back(), tag() + " answered" + row.suffix);
  }
}

TEST_F(AlertAnswerTest, HowLongAnAppVerdictHolds) {
  AlertAnswer logout;
  logout.duration = AppDuration::untilLogout;
  openAndAnswer(logout);
  EXPECT_FALSE(curl()->appIsPersistent);
  EXPECT_TRUE(curl()->appHasTimer);
  EXPECT_EQ(world.loop.timerCount(), 0u) << "no timer: the app lives until the agent quits";

  world.globals.globalAppsArray.clear();
  AlertAnswer minutes;
  minutes.pass = false;
  minutes.duration = AppDuration::minutes;
  minutes.minutes = 5;
  openAndAnswer(minutes);
  EXPECT_FALSE(curl()->appIsPersistent);
  posted.clear();
  world.loop.advance(std::chrono::seconds(299));
  EXPECT_EQ(posted, Texts{});
  world.loop.advance(std::chrono::seconds(1));
  EXPECT_EQ(posted, Texts{"expireApp"});
}

TEST_F(AlertAnswerTest, OneEndingOnlyAndTheNextRequestIsDecidedByTheNewRule) {
  world.intake(line);
  world.loop.runPending();
  const std::string first = tag();
  AlertAnswer block;
  block.pass = false;
  EXPECT_TRUE(world.agent.alertAnswers.answer(first, block));
  EXPECT_FALSE(world.agent.alertAnswers.answer(first, block)) << "a second ending is ignored";
  EXPECT_FALSE(world.agent.alertAnswers.answer("999", block)) << "no such alert";
  EXPECT_EQ(world.sockets.sentLines(), Texts{line + " 1 # #"});

  world.intake(line);
  world.loop.runPending();
  EXPECT_EQ(world.sockets.sentLines().back(), line + " 1 # #") << "settled by the rule the answer made";
  EXPECT_EQ(world.alerts.shown.size(), 1u);
  EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 0);
}
