#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "fakes/World.h"
#include "rules/AppPaths.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "runtime/NotificationCenter.h"

namespace halvex {
namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

class HXApplicationTest : public ::testing::Test {
 protected:
  HXApplicationTest() {
    world.files.addFile("/usr/bin/curl", std::string("binary"));
    world.icons.set("/usr/bin/curl", "curl-icon");
  }

  std::shared_ptr<HXApplication> make(const std::string& path = "/usr/bin/curl") {
    return HXApplication::initWithAppName(context, "curl", {"curl"}, false, false, path);
  }

  test::World world;
  test::ManualLoop& loop = world.loop;
  NotificationCenter& center = world.globals.notificationCenter;
  const RulesContext& context = world.context;
};

TEST_F(HXApplicationTest, NewAppTakesTheFactsOfItsFileAndSystemBinariesAreBareBinariesInSystemFolders) {
  EXPECT_TRUE(make()->appExists);
  EXPECT_EQ(make()->appImage, Image::named("curl-icon"));
  EXPECT_FALSE(make("/opt/gone/tool")->appExists);
  for (const char* path : {"/usr/sbin/foo", "/usr/libexec/foo", "/System/Library/foo"})
    EXPECT_TRUE(make(path)->appIsSystemBinary) << path;
  EXPECT_FALSE(make("/usr/bin/foo")->appIsSystemBinary);
  EXPECT_FALSE(HXApplication::initWithAppName(context, "Foo.app", {"Foo.app/"}, true, false,
                                              "/System/Library/CoreServices/Foo.app")
                   ->appIsSystemBinary);
}

TEST_F(HXApplicationTest, SignatureInspectionStartsOnlyWhenVerifyingAnExistingFile) {
  // The inspection runs in the background and asks the package records: count what it asks.
  auto settle = [&] {
    for (int i = 0; i < 200 && world.signatures.calls() < 2; ++i) std::this_thread::sleep_for(5ms);
    while (loop.waitAndRun(std::chrono::milliseconds(100))) {
    }
  };
  auto verify = [&](bool on) {
    world.globals.preferences.updateUser([&](UserPreferences& u) { u.verifySignatures = on; });
  };
  make();
  verify(true);
  make("/opt/gone/tool");
  settle();
  EXPECT_EQ(world.signatures.calls(), 0) << "off, or no file: nothing is inspected";

  const auto app = make();
  settle();
  EXPECT_GT(world.signatures.calls(), 0);
  // The fake reports every file unsigned: the facts arrive on the app.
  EXPECT_FALSE(app->appIsSigned);
  EXPECT_FALSE(app->appIsSignedByApple);
  EXPECT_NE(app->appSignatureInfo, "");
  app->appIsSignedByApple = true;
  verify(false);
  app->getSignatureInfo();
  EXPECT_TRUE(app->appIsSigned) << "with inspection off an app reads as signed";
  EXPECT_FALSE(app->appIsSignedByApple);
}

// Every state from one that sets the flags a row may have to clear, with a timed rule and quiet
// time running: only asking keeps them.
TEST_F(HXApplicationTest, SetRuleFollowsItsTableForEveryStateAndEndsTimersExceptWhenAsking) {
  struct Row {
    std::int64_t state;
    bool blocked, yellow, redShadow, greenShadow, keepsMatches;
    Color color;
  };
  // Colours come from the preferences, not from built-in values.
  LabelColors colors;
  colors.color2 = Color::rgba(0.1, 0.2, 0.3);
  world.globals.preferences.updateUser([&](UserPreferences& u) { u.colors = colors; });
  const Row rows[] = {
      {0, false, false, false, false, false, colors.color0}, {1, true, false, false, false, false, colors.color1},
      {2, false, false, true, false, true, colors.color2},   {3, true, false, false, true, true, colors.color3},
      {4, false, true, false, false, true, colors.color4b},  {7, false, false, false, false, false, colors.color0},
      {-1, false, false, false, false, false, colors.color0}};
  std::vector<std::shared_ptr<HXApplication>> apps;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.state);
    const auto app = apps.emplace_back(make());
    app->setRule(3);
    app->appMatches = {"@443", "#10.0.0.1"};
    app->setAppTimer(60);
    app->appHasTimer = true;
    app->setQuiet("pass", 30);
    app->setRule(row.state);
    EXPECT_EQ(app->appIsBlockedOrAllowed, row.state);
    EXPECT_EQ(std::make_tuple(app->appIsBlocked.load(), app->appIsYellow.load(), app->appRedShadow.load(),
                              app->appGreenShadow.load()),
              std::make_tuple(row.blocked, row.yellow, row.redShadow, row.greenShadow));
    EXPECT_EQ(app->appLabelColor, row.color);
    EXPECT_EQ(app->appMatches.size(), row.keepsMatches ? 2u : 0u);
    const bool kept = row.state == 4;
    EXPECT_EQ(
        std::make_tuple(app->appHasTimer.load(), app->appIsQuietPass.load(), app->timer != 0u, app->quietTimer != 0u),
        std::make_tuple(kept, kept, kept, kept));
  }
  EXPECT_EQ(loop.timerCount(), 2u) << "only the asking app's timers are left";
}

TEST_F(HXApplicationTest, TimedRuleExpiryPostsTheAppNameOnceUnlessStoppedOrGone) {
  std::vector<std::string> expired;
  center.addObserver("expireApp",
                     [&](const Notification& n) { expired.push_back(*n.userInfo.find("appName")->asString()); });
  const auto app = make();
  app->setAppTimer(60);
  EXPECT_FALSE(app->appHasTimer);  // callers set it
  loop.advance(59s);
  EXPECT_TRUE(expired.empty());
  app->setAppTimer(60);  // restarts: the first timer is gone
  loop.advance(59s);
  EXPECT_TRUE(expired.empty());
  loop.advance(1s);
  EXPECT_EQ(expired, Names{"curl"});
  EXPECT_EQ(app->timer, 0u);
  loop.advance(120s);
  EXPECT_EQ(expired.size(), 1u);

  app->setAppTimer(5);
  app->appHasTimer = true;
  app->stopAppTimer();
  EXPECT_FALSE(app->appHasTimer);
  loop.advance(10s);
  EXPECT_EQ(expired.size(), 1u);

  // The timers of a gone app do nothing.
  auto gone = make();
  gone->setAppTimer(1);
  gone->setQuiet("pass", 1);
  gone.reset();
  loop.advance(5s);
  EXPECT_EQ(expired.size(), 1u);
}

TEST_F(HXApplicationTest, QuietTimeSetsItsFlagAndEndsWithItsTimer) {
  const auto app = make();
  // Pass, block: which quiet time runs.
  const auto quiet = [&] { return std::pair(app->appIsQuietPass.load(), app->appIsQuietBlock.load()); };
  app->setQuiet("block", 10);
  EXPECT_EQ(quiet(), std::pair(false, true));
  app->setQuiet("pass", 100);
  app->setQuiet("other", 100);  // any other text keeps the flags
  EXPECT_EQ(quiet(), std::pair(true, false));
  EXPECT_EQ(loop.timerCount(), 1u) << "later starts keep the running timer and add none";
  loop.advance(10s);
  EXPECT_EQ(quiet(), std::pair(false, false)) << "the first timer ends quiet time for all";
  EXPECT_EQ(app->quietTimer, 0u);

  // A quiet time ended early leaves no timer behind to end the next one early.
  app->setQuiet("pass", 5);
  app->setQuiet("pass", 10);
  app->setRule(0);
  app->setQuiet("block", 10);
  loop.advance(9s);
  EXPECT_TRUE(app->appIsQuietBlock);
}

TEST_F(HXApplicationTest, MatchFiltersActOnTheirArgument) {
  const auto receiver = make();
  const auto other = make();
  receiver->appMatches = {"@1", "#2"};
  other->appMatches = {"@443", "#10.0.0.1", "443", "#_range1:2", "@::1"};
  receiver->removePassedMatchesWithApp(*other);
  EXPECT_EQ(other->appMatches, (Names{"#10.0.0.1", "#_range1:2"}));
  EXPECT_EQ(receiver->appMatches.size(), 2u);
  other->appMatches = {"@443", "#10.0.0.1", "443", "@::1"};
  receiver->removeBlockedMatchesWithApp(*other);
  EXPECT_EQ(other->appMatches, (Names{"@443", "@::1"}));
  EXPECT_EQ(receiver->appMatches.size(), 2u);
}

TEST(AppPaths, BundlesAreNamedByTheirOutermostBundleAndPlainBinariesByTheirFile) {
  EXPECT_EQ(appBundlePath("/Applications/A.app/Contents/Helpers/B.app/Contents/MacOS/B"), "/Applications/A.app");
  EXPECT_EQ(appBundlePath("//Applications//A.app/Contents/MacOS/A"), "/Applications/A.app");
  EXPECT_EQ(appBundlePath("/usr/bin/curl"), "/usr/bin/curl");
  EXPECT_EQ(shortNameOfPath("/Applications/A.app/Contents/MacOS/A"), "A");
  // A folder called My.app.old, or an .app folder without Contents, makes no bundle.
  EXPECT_EQ(shortNameOfPath("/opt/My.app.old/bin/tool"), "tool");
  EXPECT_EQ(shortNameOfPath("/opt/Foo.app/tool"), "tool");
  EXPECT_EQ(appBundlePath("/opt/Foo.app/tool"), "/opt/Foo.app/tool");
  EXPECT_EQ(firstBundleComponent("/no/bundle/here"), "");
}

TEST_F(HXApplicationTest, GeneratedAppsFollowTheirPathsKind) {
  // Name, binaries, bundle or not, path, shown name and state.
  const auto facts = [&](std::int64_t state, const char* path) {
    const auto app = generateHXApplication(context, state, path);
    return std::make_tuple(app->appName, app->appBinaries, app->appIsBundle.load(), app->appPath,
                           app->appLocalizedName.text, app->appIsBlockedOrAllowed.load());
  };
  EXPECT_EQ(facts(1, "/Applications/A.app/Contents/Helpers/B.app/Contents/MacOS/B"),
            std::make_tuple("A.app", Names{"A.app/"}, true, "/Applications/A.app", "A", 1));
  // A plain binary keeps its whole file name.
  EXPECT_EQ(facts(4, "/opt/Foo.app/tool.app"),
            std::make_tuple("tool.app", Names{"/opt/Foo.app/tool.app"}, false, "/opt/Foo.app/tool.app", "tool.app", 4));
  const auto app = generateHXApplication(context, 4, "/opt/Foo.app/tool.app");
  EXPECT_TRUE(app->appIsPersistent);
  EXPECT_EQ(app->appImage.name, "unknownapp") << "no file there";
}

}  // namespace
}  // namespace halvex
