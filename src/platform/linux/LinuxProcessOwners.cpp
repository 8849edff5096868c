#include "platform/linux/LinuxProcessOwners.h"

#include <pwd.h>
#include <systemd/sd-login.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace halvex {

std::optional<std::string> LinuxProcessOwners::userName(std::int32_t uid) const {
  if (uid < 0) return std::nullopt;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (::getpwuid_r(static_cast<uid_t>(uid), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
    return std::nullopt;
  return std::string(found->pw_name);
}

std::optional<std::int32_t> LinuxProcessOwners::consoleUser() const {
  uid_t uid = 0;
  char* session = nullptr;
  const int r = sd_seat_get_active("seat0", &session, &uid);
  std::free(session);
  if (r < 0) return std::nullopt;
  return static_cast<std::int32_t>(uid);
}

std::string LinuxProcessOwners::serviceReport(std::int32_t) const { return {}; }

}  // namespace halvex
