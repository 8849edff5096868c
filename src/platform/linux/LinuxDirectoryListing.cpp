#include "platform/linux/LinuxDirectoryListing.h"

#include <dirent.h>

#include <cstring>

namespace halvex {

std::vector<std::string> LinuxDirectoryListing::list(const std::string& directory) const {
  std::vector<std::string> names;
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return names;
  while (const dirent* entry = ::readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    names.emplace_back(entry->d_name);
  }
  ::closedir(dir);
  return names;
}

}  // namespace halvex
