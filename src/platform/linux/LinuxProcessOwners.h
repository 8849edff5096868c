#pragma once
// Users from the password database, the console user from systemd-logind's seat, and no service
// report: Linux has no per-process report of a helper's owning application.

#include "platform/ProcessOwners.h"

namespace halvex {

class LinuxProcessOwners final : public ProcessOwners {
 public:
  std::optional<std::string> userName(std::int32_t uid) const override;
  std::optional<std::int32_t> consoleUser() const override;
  std::string serviceReport(std::int32_t pid) const override;
};

}  // namespace halvex
