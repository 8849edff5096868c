#pragma once
// The names in a directory.

#include <string>
#include <vector>

namespace halvex {

class DirectoryListing {
 public:
  virtual ~DirectoryListing() = default;
  // Plain names (no "." or ".."), in no particular order; empty for a missing or unreadable
  // directory.
  virtual std::vector<std::string> list(const std::string& directory) const = 0;
};

}  // namespace halvex
