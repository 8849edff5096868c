#pragma once
// File icons as the desktop names them: a folder is "folder"; a desktop entry shows its own
// Icon; a program shows the Icon of the desktop entry that starts it (by its Exec or TryExec
// command, matched by full path or by base name), else "application-x-executable"; any other
// file the generic icon of its kind by extension, else "text-x-generic".

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/FileIcons.h"

namespace halvex {

class LinuxFileIcons final : public FileIcons {
 public:
  // The folders of desktop entries: $XDG_DATA_HOME/applications, then each folder of
  // $XDG_DATA_DIRS (default /usr/local/share:/usr/share) plus "/applications".
  LinuxFileIcons();
  // Tests give their own folders.
  explicit LinuxFileIcons(std::vector<std::string> applicationDirectories);

  std::string iconNameForFile(const std::string& path) const override;

  // The Icon value of a desktop entry's [Desktop Entry] group; empty when there is none.
  static std::string desktopEntryIcon(const std::string& text);

 private:
  // Program path or base name -> icon, read once on first use.
  const std::map<std::string, std::string>& programIcons() const;

  std::vector<std::string> applicationDirectories_;
  mutable std::once_flag indexOnce_;
  mutable std::map<std::string, std::string> programIcons_;
};

}  // namespace halvex
