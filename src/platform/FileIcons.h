#pragma once
// The desktop's icon for a file: the theme icon name a file manager would show for it.

#include <string>

namespace halvex {

class FileIcons {
 public:
  virtual ~FileIcons() = default;
  // Never empty: a file the desktop knows nothing about gets a generic icon name.
  virtual std::string iconNameForFile(const std::string& path) const = 0;
};

}  // namespace halvex
