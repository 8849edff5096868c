#include "platform/linux/LinuxRunningApplications.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>

namespace halvex {
namespace {

std::string readSmallFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  std::string text;
  char buffer[8192];
  ssize_t n;
  while ((n = ::read(fd, buffer, sizeof buffer)) > 0 && text.size() < (1u << 20))
    text.append(buffer, static_cast<std::size_t>(n));
  ::close(fd);
  return text;
}

std::string rootOf(const std::string& environ) {
  // NUL-separated NAME=value entries.
  std::size_t start = 0;
  while (start < environ.size()) {
    const auto end = environ.find('\0', start);
    const std::string entry = environ.substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (entry.rfind("HALVEX_ROOT=", 0) == 0) {
      std::string root = entry.substr(12);
      while (root.size() > 1 && root.back() == '/') root.pop_back();
      return root == "/" ? std::string() : root;
    }
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return {};
}

}  // namespace

LinuxRunningApplications::LinuxRunningApplications(std::string executableName, std::string root, std::string procRoot)
    : executableName_(std::move(executableName)), root_(std::move(root)), procRoot_(std::move(procRoot)) {}

std::vector<std::string> LinuxRunningApplications::localizedNames() const {
  std::vector<std::string> names;
  DIR* dir = ::opendir(procRoot_.c_str());
  if (!dir) return names;
  const uid_t me = ::getuid();
  while (dirent* entry = ::readdir(dir)) {
    if (!std::isdigit(static_cast<unsigned char>(entry->d_name[0]))) continue;
    const std::string base = procRoot_ + "/" + entry->d_name;
    struct stat st {};
    if (::stat(base.c_str(), &st) != 0 || st.st_uid != me) continue;
    std::string comm = readSmallFile(base + "/comm");
    while (!comm.empty() && (comm.back() == '\n')) comm.pop_back();
    // The companion firewall, whatever system root it serves.
    if (comm == "dovik" || comm == "Dovik") {
      names.emplace_back("Dovik");
      continue;
    }
    if (comm != executableName_) continue;
    if (rootOf(readSmallFile(base + "/environ")) != root_) continue;
    names.emplace_back("Halvex");
  }
  ::closedir(dir);
  return names;
}

}  // namespace halvex
