#include <gtest/gtest.h>

#include "decision/AlertWorld.h"

using namespace halvex::test;

TEST(RuleCheck, WholeAppStatesAnswerByLooseSubstringTestsOncePerMatchingBinaryAndApp) {
  AlertWorld w;
  w.load("/Applications/Mail.app/Contents/MacOS/Mail", 1);
  w.load("/usr/bin/curl", 0);
  w.load("/opt/tool/bin/tool", 2)->appBinaries = {"/opt/tool/", "bin/tool"};
  w.load("/opt/tool/bin/tool", 3);  // a second app of the same name, which blocks
  // The candidate and binary tests are substring tests: GMail.app holds "Mail.app/".
  EXPECT_EQ(w.ask("192.168.1.7", "/Applications/GMail.app/Contents/MacOS/GMail"), " 1 # #");
  w.expectIdle();
  EXPECT_EQ(w.ask("192.168.1.7", "/usr/bin/curl2"), " 0 # #");
  EXPECT_EQ(w.ask("192.168.1.7", "/opt/tool/bin/tool"), " 2 # # 2 # # 3 # #");
  EXPECT_TRUE(w.alerts.shown.empty());
}

TEST(RuleCheck, StateFourWalksEveryRuleThroughEveryMatcher) {
  AlertWorld w;
  w.load("/usr/bin/ssh", 4, {"@192.168.1.0/24", "#10.0.0.1", "@443", "#_range1000:2000", "#192.168.0.0/16"});
  EXPECT_EQ(w.ask("192.168.1.7", "/usr/bin/ssh", "443"), " 4 0 0 4 1 0 4 0 1");
  EXPECT_EQ(w.ask("10.0.0.1", "/usr/bin/ssh", "22"), " 4 0 1");

  // A rule with ":" and "/" goes through both matchers: the network blocks, "::/0" passes
  // every address, IPv4 ones included.
  auto v6 = w.load("/usr/bin/v6", 4, {"#2001:db8::/48", "@::/0"});
  EXPECT_EQ(w.ask("2001:db8::1", "/usr/bin/v6"), " 4 0 1 4 0 0");
  EXPECT_EQ(w.ask("192.0.2.1", "/usr/bin/v6"), " 4 0 0");
  v6->appMatches = {"#2001:db8::/32"};
  EXPECT_EQ(w.ask("2001:db8:1::1", "/usr/bin/v6"), " 4 0 1");
  v6->appMatches = {"@192.0.2.0/24"};  // the IPv4 matcher alone answers a network without ":"
  EXPECT_EQ(w.ask("192.0.2.1", "/usr/bin/v6"), " 4 0 0");
  w.expectIdle();
  EXPECT_TRUE(w.alerts.shown.empty());
}

// Without a walk of its list (its binary is not in the path) only the quiet flags answer.
TEST(RuleCheck, QuietTimeAnswersEveryTimeAndRemembersTheAddressOnce) {
  AlertWorld w;
  auto app = w.load("/usr/bin/curl", 4);
  app->appBinaries.clear();
  app->appIsQuietPass = true;
  EXPECT_EQ(w.ask("192.0.2.9"), " 4 0 0");
  EXPECT_EQ(w.ask("192.0.2.9"), " 4 0 0");
  EXPECT_EQ(app->appMatches, Texts{"@192.0.2.9"});
  w.expectIdle();

  app->appIsQuietPass = false;
  app->appIsQuietBlock = true;
  EXPECT_EQ(w.ask("192.0.2.10"), " 4 0 1");
  EXPECT_EQ(app->appMatches, (Texts{"@192.0.2.9", "#192.0.2.10"}));
  EXPECT_TRUE(w.alerts.shown.empty());
}
