#include "platform/linux/LinuxProcessInfo.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace halvex {

LinuxProcessInfo::LinuxProcessInfo(std::string procRoot) : procRoot_(std::move(procRoot)) {}

std::optional<std::string> LinuxProcessInfo::executablePath(std::int32_t pid) const {
  // Pid 0 and negative numbers name no process (and "/proc/-1" is no path to follow).
  if (pid <= 0) return std::nullopt;
  const std::string link = procRoot_ + "/" + std::to_string(pid) + "/exe";
  char buffer[4096];
  const ssize_t n = ::readlink(link.c_str(), buffer, sizeof buffer);
  if (n < 1) return std::nullopt;
  std::string path(buffer, static_cast<std::size_t>(n));
  // A program whose file was replaced or removed while running still has its path.
  constexpr std::string_view deleted = " (deleted)";
  if (path.size() > deleted.size() && path.compare(path.size() - deleted.size(), deleted.size(), deleted) == 0)
    path.resize(path.size() - deleted.size());
  return path;
}

std::optional<std::int32_t> LinuxProcessInfo::effectiveUid(std::int32_t pid) const {
  if (pid <= 0) return std::nullopt;
  const std::string file = procRoot_ + "/" + std::to_string(pid) + "/status";
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string text;
  char buffer[4096];
  ssize_t n;
  while ((n = ::read(fd, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<std::size_t>(n));
  ::close(fd);
  const auto at = text.find("\nUid:");
  if (at == std::string::npos) return std::nullopt;
  // "Uid:\treal\teffective\tsaved\tfs"
  const char* p = text.c_str() + at + 5;
  char* end = nullptr;
  std::strtol(p, &end, 10);
  if (end == p) return std::nullopt;
  p = end;
  const long effective = std::strtol(p, &end, 10);
  if (end == p) return std::nullopt;
  return static_cast<std::int32_t>(effective);
}

}  // namespace halvex
