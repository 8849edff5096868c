#pragma once
// A bundle's display name from its "Contents/Info.plist" (XML or binary), where one is present.

#include "platform/BundleInfo.h"

namespace halvex {

class LinuxBundleInfo final : public BundleInfo {
 public:
  std::optional<std::string> localizedDisplayName(const std::string& path) const override;
};

}  // namespace halvex
