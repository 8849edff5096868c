#include <gtest/gtest.h>

#include "link/ChannelWorld.h"
#include "rules/GenerateHXApplication.h"

using namespace halvex;
using namespace halvex::test;

namespace {

using Replies = std::vector<std::string>;

class RuleCheck : public ::testing::Test {
 protected:
  RuleCheck() { world.globals.enableNotifications = true; }

  std::shared_ptr<HXApplication> addApp(const std::string& path, std::int64_t state, Replies matches = {}) {
    auto app = generateHXApplication(world.context, state, path);
    app->appMatches = std::move(matches);
    world.globals.globalAppsArray.push_back(app);
    return app;
  }

  // Runs one request through the check, as the intake would; returns the replies' suffixes.
  Replies decide(const std::string& path, const std::string& ip = "192.168.1.7", const std::string& port = "443") {
    const auto before = world.sockets.sentLines().size();
    const std::string line = "t " + ip + " " + port + " 300 TCP 4 0";
    world.processes.add(300, path, 501);
    world.intake(line);
    world.loop.runPending();
    Replies suffixes;
    const auto sent = world.sockets.sentLines();
    for (auto i = before; i < sent.size(); ++i) {
      EXPECT_EQ(sent[i].rfind(line, 0), 0u) << "a reply echoes the line";
      suffixes.push_back(sent[i].substr(line.size()));
    }
    return suffixes;
  }

  bool finished() const {
    return world.globals.notifyControllers.empty() && world.globals.synchronizedNotification.suspendCount() == 0;
  }

  ChannelWorld world;
  RecordingAlerts& alerts = world.alerts;
};

}  // namespace

TEST_F(RuleCheck, WholeAppStatesAnswerByLooseSubstringTestsOncePerMatchingBinaryAndApp) {
  addApp("/Applications/Mail.app/Contents/MacOS/Mail", 1);
  addApp("/usr/bin/curl", 0);
  auto twice = addApp("/opt/tool/bin/tool", 2);
  twice->appBinaries = {"/opt/tool/", "bin/tool"};
  addApp("/opt/tool/bin/tool", 3);  // a second app of the same name, which blocks
  // The candidate and binary tests are substring tests: GMail.app holds "Mail.app/".
  EXPECT_EQ(decide("/Applications/GMail.app/Contents/MacOS/GMail"), Replies{" 1 # #"});
  EXPECT_TRUE(finished());
  EXPECT_EQ(decide("/usr/bin/curl2"), Replies{" 0 # #"});
  EXPECT_EQ(decide("/opt/tool/bin/tool"), (Replies{" 2 # #", " 2 # #", " 3 # #"}));
  EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(RuleCheck, StateFourWalksEveryRuleThroughEveryMatcher) {
  addApp("/usr/bin/ssh", 4, {"@192.168.1.0/24", "#10.0.0.1", "@443", "#_range1000:2000", "#192.168.0.0/16"});
  EXPECT_EQ(decide("/usr/bin/ssh", "192.168.1.7", "443"), (Replies{" 4 0 0", " 4 1 0", " 4 0 1"}));
  EXPECT_EQ(decide("/usr/bin/ssh", "10.0.0.1", "22"), Replies{" 4 0 1"});

  // A rule with ":" and "/" goes through both matchers: the network blocks, "::/0" passes
  // every address, IPv4 ones included.
  auto v6 = addApp("/usr/bin/v6", 4, {"#2001:db8::/48", "@::/0"});
  EXPECT_EQ(decide("/usr/bin/v6", "2001:db8::1"), (Replies{" 4 0 1", " 4 0 0"}));
  EXPECT_EQ(decide("/usr/bin/v6", "192.0.2.1"), Replies{" 4 0 0"});
  v6->appMatches = {"#2001:db8::/32"};
  EXPECT_EQ(decide("/usr/bin/v6", "2001:db8:1::1"), Replies{" 4 0 1"});
  v6->appMatches = {"@192.0.2.0/24"};  // the IPv4 matcher alone answers a network without ":"
  EXPECT_EQ(decide("/usr/bin/v6", "192.0.2.1"), Replies{" 4 0 0"});
  EXPECT_TRUE(finished());
  EXPECT_TRUE(alerts.shown.empty());
}

// An unknown app, or a known one whose binary is not in the path, asks too: the alert tests'
// new and known apps do.
TEST_F(RuleCheck, NoMatchingRuleOpensTheAlertWithTheQueueHeld) {
  addApp("/usr/bin/ssh", 4, {"@10.0.0.0/8", "@22"});
  EXPECT_TRUE(decide("/usr/bin/ssh", "192.0.2.1", "443").empty());
  ASSERT_EQ(alerts.shown.size(), 1u);
  EXPECT_TRUE(world.globals.notificationOnScreen);
  EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 1) << "the alert holds the queue";
  EXPECT_EQ(alerts.shown[0].request.processName, "/usr/bin/ssh");
}

TEST_F(RuleCheck, QuietTimeAnswersEveryTimeAndRemembersTheAddressOnce) {
  auto app = addApp("/usr/bin/curl", 4);
  app->appBinaries.clear();  // so only the quiet flags can answer
  app->appIsQuietPass = true;
  EXPECT_EQ(decide("/usr/bin/curl", "192.0.2.9"), Replies{" 4 0 0"});
  EXPECT_EQ(decide("/usr/bin/curl", "192.0.2.9"), Replies{" 4 0 0"});
  EXPECT_EQ(app->appMatches, Replies{"@192.0.2.9"});
  EXPECT_TRUE(finished());

  app->appIsQuietPass = false;
  app->appIsQuietBlock = true;
  EXPECT_EQ(decide("/usr/bin/curl", "192.0.2.10"), Replies{" 4 0 1"});
  EXPECT_EQ(app->appMatches, (Replies{"@192.0.2.9", "#192.0.2.10"}));
  EXPECT_TRUE(alerts.shown.empty());
}
