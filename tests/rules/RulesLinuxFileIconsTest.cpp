#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/LinuxFileIcons.h"

namespace halvex {
namespace {

namespace fs = std::filesystem;

class RulesLinuxFileIconsTest : public ::testing::Test {
 protected:
  RulesLinuxFileIconsTest() {
    root = fs::temp_directory_path() / ("halvex-icons-" + std::to_string(::getpid()));
    fs::create_directories(root / "apps");
    fs::create_directories(root / "bin");
  }
  ~RulesLinuxFileIconsTest() override { fs::remove_all(root); }
  void write(const fs::path& path, const std::string& text, bool executable = false) {
    std::ofstream(path) << text;
    if (executable) fs::permissions(path, fs::perms::owner_all);
  }
  fs::path root;
};

TEST_F(RulesLinuxFileIconsTest, ProgramsTakeTheIconOfTheirDesktopEntry) {
  write(root / "apps" / "editor.desktop", "[Desktop Entry]\nName=Editor\nExec=env LANG=C " +
                                              (root / "bin" / "editor").string() +
                                              " %F\nIcon=accessories-text-editor\n[Desktop Action new]\nIcon=wrong\n");
  write(root / "apps" / "player.desktop", "[Desktop Entry]\nExec=\"player\" --x\nIcon=media-player\n");
  write(root / "bin" / "editor", "#!/bin/sh\n", true);
  write(root / "bin" / "player", "#!/bin/sh\n", true);
  write(root / "bin" / "plain", "#!/bin/sh\n", true);
  write(root / "notes.txt", "text");
  write(root / "data.xyz", "text");

  const LinuxFileIcons icons({(root / "apps").string()});
  EXPECT_EQ(icons.iconNameForFile((root / "bin" / "editor").string()), "accessories-text-editor");
  EXPECT_EQ(icons.iconNameForFile((root / "bin" / "player").string()), "media-player");  // by base name
  EXPECT_EQ(icons.iconNameForFile((root / "bin" / "plain").string()), "application-x-executable");
  EXPECT_EQ(icons.iconNameForFile((root / "apps" / "player.desktop").string()), "media-player");
  EXPECT_EQ(icons.iconNameForFile(root.string()), "folder");
  EXPECT_EQ(icons.iconNameForFile((root / "notes.txt").string()), "text-plain");
  EXPECT_EQ(icons.iconNameForFile((root / "data.xyz").string()), "text-x-generic");
  EXPECT_EQ(icons.iconNameForFile((root / "missing").string()), "text-x-generic");
}

}  // namespace
}  // namespace halvex
