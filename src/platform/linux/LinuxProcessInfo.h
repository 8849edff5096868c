#pragma once
// Process look-ups from /proc: the executable is the link /proc/PID/exe, the effective user id
// the second number of the "Uid:" line of /proc/PID/status.

#include <string>

#include "platform/ProcessInfo.h"

namespace halvex {

class LinuxProcessInfo final : public ProcessInfo {
 public:
  // `procRoot` is "/proc" except in tests of the parsing.
  explicit LinuxProcessInfo(std::string procRoot = "/proc");
  std::optional<std::string> executablePath(std::int32_t pid) const override;
  std::optional<std::int32_t> effectiveUid(std::int32_t pid) const override;

 private:
  std::string procRoot_;
};

}  // namespace halvex
