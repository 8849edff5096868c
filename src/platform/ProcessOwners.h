#pragma once
// Who runs a process: user names, the user at the console, and the service manager's report on
// the process (the text that names the domain a helper service runs in).

#include <cstdint>
#include <optional>
#include <string>

namespace halvex {

class ProcessOwners {
 public:
  virtual ~ProcessOwners() = default;
  // The login name of a user id, or nothing.
  virtual std::optional<std::string> userName(std::int32_t uid) const = 0;
  // The user id of the console (the active session's) user, or nothing.
  virtual std::optional<std::int32_t> consoleUser() const = 0;
  // The service manager's report on a process; empty where there is none.
  virtual std::string serviceReport(std::int32_t pid) const = 0;
};

}  // namespace halvex
