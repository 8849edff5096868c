#include <gtest/gtest.h>

#include "configuration/UserDefaults.h"
#include "fakes/MemoryFiles.h"

namespace halvex {
namespace {

constexpr const char* kPath = "/home/u/.config/halvex/defaults.plist";

TEST(UserDefaultsTest, ChangesAreWrittenAtOnceAndReadByTheNextStoreAndJunkStartsEmpty) {
  test::MemoryFiles files;
  {
    UserDefaults d(files, kPath);
    EXPECT_FALSE(d.contains("autoUpdate"));
    d.setBool("autoUpdate", true);
    d.setInteger("currentTheme", 1);
    d.setDouble("mainWindowHeight", 612.5);
    d.setObject("name", plist::Value("x"));
    d.setColor("color0", Color::rgba(0, 0.8, 0, 1));
    d.setColor("bgColor", Color::redColor());
    d.removeObjectForKey("name");
  }
  // How colours are stored is checked against a real reader in InteropTest.
  UserDefaults again(files, kPath);
  EXPECT_EQ(again.boolForKey("autoUpdate"), true);
  EXPECT_EQ(again.integerForKey("currentTheme"), 1);
  EXPECT_EQ(again.doubleForKey("mainWindowHeight"), 612.5);
  EXPECT_FALSE(again.contains("name"));
  EXPECT_EQ(again.colorForKey("color0"), Color::rgba(0, 0.8, 0, 1));
  EXPECT_EQ(again.colorForKey("bgColor"), Color::redColor()) << "the system colour's name survives";
  EXPECT_EQ(again.colorForKey("currentTheme"), std::nullopt);
  EXPECT_EQ(again.stringForKey("autoUpdate"), std::nullopt);

  // A file that is no dictionary starts an empty database.
  files.addFile(kPath, std::string("not a property list"));
  UserDefaults d(files, kPath);
  EXPECT_FALSE(d.contains("autoUpdate"));
  d.setBool("verifySignatures", true);
  EXPECT_EQ(UserDefaults(files, kPath).boolForKey("verifySignatures"), true);
}

}  // namespace
}  // namespace halvex
