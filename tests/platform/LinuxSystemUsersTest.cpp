#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/linux/LinuxSystemUsers.h"

using namespace halvex;

namespace {

std::string bytes(std::initializer_list<unsigned> values) {
  std::string out;
  for (const unsigned v : values) out += static_cast<char>(v);
  return out;
}

TEST(LinuxSystemUsers, PictureSizesComeFromTheHeadersOfTheThreeFormats) {
  const std::string png = "\x89PNG\r\n\x1a\n" + bytes({0, 0, 0, 13}) + "IHDR" + bytes({0, 0, 1, 0, 0, 0, 0, 96});
  EXPECT_EQ(pictureSize(png), (std::pair<double, double>(256, 96)));
  EXPECT_EQ(pictureSize("GIF89a" + bytes({64, 0, 32, 0})), (std::pair<double, double>(64, 32)));
  // A JPEG with an application segment before its frame header.
  const std::string jpeg = bytes({0xFF, 0xD8, 0xFF, 0xE0, 0, 4, 0, 0, 0xFF, 0xC0, 0, 17, 8, 0, 48, 0, 40});
  EXPECT_EQ(pictureSize(jpeg), (std::pair<double, double>(40, 48)));
  for (const std::string& broken : {std::string(), std::string("\x89PNG"), std::string("not a picture"),
                                    bytes({0xFF, 0xD8, 0xFF, 0xE0, 0, 1}), bytes({0xFF, 0xD8, 0xFF, 0xE0, 0xFF, 0xFF})})
    EXPECT_FALSE(pictureSize(broken));
}

TEST(LinuxSystemUsers, RootAndTheLoginRangeWithTheirPicturesFromTheFolder) {
  EXPECT_EQ(loginUidRange("# UID_MIN 5\nUID_MIN\t\t 2000\nUID_MAX 3000x\n"),
            (std::pair<std::int64_t, std::int64_t>(2000, 60000)));
  const auto dir = std::filesystem::temp_directory_path() / ("halvex-users-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir / "icons");
  std::ofstream(dir / "login.defs") << "UID_MIN 1\nUID_MAX 0\n";  // nobody but root
  std::ofstream(dir / "icons" / "root") << "GIF87a" << bytes({0, 0, 9, 0});
  const auto users = LinuxSystemUsers((dir / "login.defs").string(), (dir / "icons").string()).systemUsers();
  ASSERT_EQ(users.size(), 1u);
  EXPECT_EQ(users[0], (SystemUser{"root", UserPicture{(dir / "icons" / "root").string(), 0, 9}}));
  std::filesystem::remove(dir / "icons" / "root");
  EXPECT_EQ(LinuxSystemUsers((dir / "login.defs").string(), (dir / "icons").string()).systemUsers()[0].image,
            std::nullopt);
  std::filesystem::remove_all(dir);
}

}  // namespace
