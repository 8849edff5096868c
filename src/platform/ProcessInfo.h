#pragma once
// Process look-ups: a pid's executable path and its effective user id.

#include <cstdint>
#include <optional>
#include <string>

namespace halvex {

class ProcessInfo {
 public:
  virtual ~ProcessInfo() = default;
  // Empty when the process is gone or cannot be read.
  virtual std::optional<std::string> executablePath(std::int32_t pid) const = 0;
  virtual std::optional<std::int32_t> effectiveUid(std::int32_t pid) const = 0;
};

}  // namespace halvex
