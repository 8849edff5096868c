#include "platform/linux/LinuxStandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace halvex {

bool LinuxStandardStreams::redirectStandardError(const std::string& path) {
  std::error_code ec;
  const auto parent = std::filesystem::path(path).parent_path();
  if (!parent.empty()) std::filesystem::create_directories(parent, ec);
  // Opened first and put in place with dup2, so that a file that cannot be opened leaves the
  // stream as it was instead of closing it.
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  std::fflush(stderr);
  const bool ok = ::dup2(fd, STDERR_FILENO) >= 0;
  ::close(fd);
  return ok;
}

}  // namespace halvex
