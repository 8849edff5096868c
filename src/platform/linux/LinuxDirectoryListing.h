#pragma once

#include "platform/DirectoryListing.h"

namespace halvex {

class LinuxDirectoryListing final : public DirectoryListing {
 public:
  std::vector<std::string> list(const std::string& directory) const override;
};

}  // namespace halvex
