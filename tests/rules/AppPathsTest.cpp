#include <gtest/gtest.h>

#include "fakes/World.h"
#include "rules/AppPaths.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"

using namespace halvex;

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

TEST(AppPaths, GeneratedAppsFollowTheirPathsKind) {
  test::World world;
  const RulesContext& context = world.context;

  auto bundle = generateHXApplication(context, 1, "/Applications/A.app/Contents/Helpers/B.app/Contents/MacOS/B");
  EXPECT_EQ(bundle->appName, "A.app");
  EXPECT_EQ(bundle->appBinaries, std::vector<std::string>{"A.app/"});
  EXPECT_TRUE(bundle->appIsBundle);
  EXPECT_EQ(bundle->appPath, "/Applications/A.app");
  EXPECT_EQ(bundle->appLocalizedName.text, "A");
  EXPECT_EQ(bundle->appIsBlockedOrAllowed, 1);
  EXPECT_TRUE(bundle->appIsPersistent);

  auto binary = generateHXApplication(context, 4, "/opt/Foo.app/tool.app");
  EXPECT_EQ(binary->appName, "tool.app") << "a plain binary keeps its whole file name";
  EXPECT_EQ(binary->appBinaries, std::vector<std::string>{"/opt/Foo.app/tool.app"});
  EXPECT_FALSE(binary->appIsBundle);
  EXPECT_EQ(binary->appLocalizedName.text, "tool.app");
  EXPECT_EQ(binary->appImage.name, "unknownapp") << "no file there";
}
