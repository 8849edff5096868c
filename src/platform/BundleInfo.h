#pragma once
// The localised display name a bundle declares for itself.

#include <optional>
#include <string>

namespace halvex {

class BundleInfo {
 public:
  virtual ~BundleInfo() = default;
  // The "CFBundleDisplayName" of the bundle at `path`, when it declares one.
  virtual std::optional<std::string> localizedDisplayName(const std::string& path) const = 0;
};

}  // namespace halvex
