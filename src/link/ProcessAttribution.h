#pragma once
// From a pid to what the user sees: the helper service's owning application (the "via"), the
// user, and whether the alert may offer to end the process.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ProcessOwners.h"

namespace halvex {

inline constexpr std::string_view kServiceContents = ".xpc/Contents/";

// The service manager's answer about a helper: the process it runs on behalf of.
struct launchdOwner {
  std::int32_t pid = 0;
  std::string name = "unknown";
};

class XPCpid {
 public:
  explicit XPCpid(const ProcessOwners& owners) : owners_(owners) {}
  std::string xpcpid(std::int32_t pid) const { return owners_.serviceReport(pid); }
  // The owner named by the report's first "domain = " line, when it is a per-process domain
  // with a pid above 0 and below 99999; otherwise "unknown" and the pid itself.
  launchdOwner ownerOf(std::int32_t pid) const;
  static launchdOwner parseOwner(std::int32_t pid, std::string_view report);

 private:
  const ProcessOwners& owners_;
};

using PathLookup = std::function<std::string(std::int32_t pid)>;  // a path or "error"

// The path of the app a helper service speaks for, when that app is there; otherwise empty.
std::string viaPathFor(const std::string& processName, const std::string& responsibleApp,
                       const PathLookup& infoprocess);
// " via " and the name of that app, or empty.
std::string viaStringFor(const std::string& processName, const std::string& responsibleApp,
                         const PathLookup& infoprocess);

// The alert may offer to end a process that runs as the console user (as root when nobody is at
// the console).
bool terminateProcessMenuItemVisible(const std::string& processUID, const ProcessOwners& owners);

// A connection event's process, attributed: its path (the daemon's report when the process has
// gone), its user, and for a helper of this user the application it runs for.
struct ConnectionAttribution {
  std::string path;
  std::string uid;
  bool otherUser = false;
  std::string viaPath;
  std::string viaName;
};

// `parts` is the event line split at blanks: index 3 the pid, from index 6 on the daemon's path.
ConnectionAttribution attributeConnection(const std::vector<std::string>& parts, std::int32_t myUID,
                                          const PathLookup& infoprocess,
                                          const std::function<std::int32_t(std::int32_t)>& infoRootProcess,
                                          const XPCpid& xpc);

}  // namespace halvex
