#include "link/ProcessAttribution.h"

#include "link/RequestLine.h"
#include "rules/AppPaths.h"

namespace halvex {
namespace {

bool contains(std::string_view s, std::string_view part) { return s.find(part) != std::string_view::npos; }

std::string lastComponentWithoutApp(const std::string& path) {
  const auto slash = path.rfind('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (name.size() >= 4 && name.compare(name.size() - 4, 4, ".app") == 0) name.resize(name.size() - 4);
  return name;
}

}  // namespace

launchdOwner XPCpid::ownerOf(std::int32_t pid) const { return parseOwner(pid, xpcpid(pid)); }

launchdOwner XPCpid::parseOwner(std::int32_t pid, std::string_view report) {
  launchdOwner owner;
  owner.pid = pid;
  if (report.empty()) return owner;
  std::string_view line;
  std::size_t start = 0;
  while (start <= report.size()) {
    const auto end = report.find('\n', start);
    const auto candidate = report.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
    if (contains(candidate, "domain = ")) {
      line = candidate;
      break;
    }
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
  if (!contains(line, "domain = com.apple.xpc.launchd.domain.pid.")) return owner;
  std::vector<std::string_view> parts;
  std::size_t from = 0;
  for (;;) {
    const auto dot = line.find('.', from);
    parts.push_back(line.substr(from, dot == std::string_view::npos ? std::string_view::npos : dot - from));
    if (dot == std::string_view::npos) break;
    from = dot + 1;
  }
  if (parts.size() < 2) return owner;
  const std::string_view last = parts.back();
  if (last.empty() || last.size() > 9) return owner;
  std::int64_t value = 0;
  for (char c : last) {
    if (c < '0' || c > '9') return owner;
    value = value * 10 + (c - '0');
  }
  if (value <= 0 || value >= 99999) return owner;
  owner.pid = static_cast<std::int32_t>(value);
  owner.name = std::string(parts[parts.size() - 2]);
  return owner;
}

std::string viaPathFor(const std::string& processName, const std::string& responsibleApp,
                       const PathLookup& infoprocess) {
  if (!contains(processName, kServiceContents) || responsibleApp == "0") return {};
  const std::string path = infoprocess(pidFromField(responsibleApp));
  return path == "error" ? std::string() : path;
}

std::string viaStringFor(const std::string& processName, const std::string& responsibleApp,
                         const PathLookup& infoprocess) {
  const std::string path = viaPathFor(processName, responsibleApp, infoprocess);
  return path.empty() ? std::string() : " via " + shortNameOfPath(path);
}

bool terminateProcessMenuItemVisible(const std::string& processUID, const ProcessOwners& owners) {
  const auto console = owners.consoleUser();
  return processUID == (console ? std::to_string(*console) : std::string("0"));
}

ConnectionAttribution attributeConnection(const std::vector<std::string>& parts, std::int32_t myUID,
                                          const PathLookup& infoprocess,
                                          const std::function<std::int32_t(std::int32_t)>& infoRootProcess,
                                          const XPCpid& xpc) {
  ConnectionAttribution result;
  const std::int32_t pid = parts.size() > 3 ? pidFromField(parts[3]) : 0;
  result.path = infoprocess(pid);
  const std::int32_t uid = infoRootProcess(pid);
  result.uid = std::to_string(uid);
  if (parts.size() > 6 && result.path == "error") {
    // The daemon's report of the path counts only for a process that has gone.
    std::string reported;
    for (std::size_t i = 6; i < parts.size(); ++i) reported += (i > 6 ? " " : "") + parts[i];
    result.path = reported;
  }
  if (uid != myUID) {
    result.otherUser = true;
    return result;
  }
  if (!contains(result.path, kServiceContents)) return result;
  const launchdOwner owner = xpc.ownerOf(pid);
  const std::string ownerPath = infoprocess(owner.pid);
  if (ownerPath == "error" || owner.name == "user") return result;
  result.viaPath = ownerPath;
  result.viaName = lastComponentWithoutApp(ownerPath);
  return result;
}

}  // namespace halvex
