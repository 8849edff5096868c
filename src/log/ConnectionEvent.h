#pragma once
// From the fields of one line of the connection-event stream to what the live log and the log
// file show: the fields checked, the process attributed, and the log file's line.
//
// A line is "0", the remote address, the remote port, the pid, two fields the agent leaves
// alone, and, only for a blocked connection, the process's path as the daemon saw it (blanks
// kept). More than six fields means blocked; there is no verdict field.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "link/ProcessAttribution.h"
#include "platform/ProcessControl.h"
#include "platform/ProcessOwners.h"
#include "platform/WallClock.h"

namespace halvex {

// One connection as the stream reported it, its process attributed.
struct ConnectionEvent {
  std::string path;  // the executable, the daemon's path of a blocked process that has ended, or "error"
  std::string address;
  std::int64_t port = 0;
  std::int32_t pid = 0;
  std::string uid;  // decimal; "-1" when the look-up failed
  bool blocked = false;
  std::string via;      // the app a helper service of this user works for; else empty
  std::string xpcPath;  // that app's path; else empty
  bool otherUser = false;

  bool operator==(const ConnectionEvent&) const = default;
};

// A decimal integer that fits a signed 32-bit number: digits only, at least one, no sign, no
// blanks. Anything else is nothing.
std::optional<std::int32_t> strictDecimal(std::string_view field);

class ConnectionEventBuilder {
 public:
  struct Links {
    // Ends the process on a line that breaks the stream's grammar.
    ProcessControl& process;
    // The executable of a pid, or "error"; its effective user, or -1.
    PathLookup infoprocess;
    std::function<std::int32_t(std::int32_t)> infoRootProcess;
    // The service manager's reports, for a helper's owning app.
    const ProcessOwners& owners;
    std::int32_t myUID = 0;
  };

  explicit ConnectionEventBuilder(Links links);

  // On a background queue. A line of fewer than four fields, or whose port (field 2) or pid
  // (field 3) is no strict decimal, ends the process through ProcessControl::fatal: the stream
  // is the agent's own, and a line out of its grammar means the agent and its peer disagree.
  ConnectionEvent build(const std::vector<std::string>& fields) const;

 private:
  Links links_;
  XPCpid xpc_;
};

// The app name the log file shows: for a path inside a bundle (".app/Contents/"), the first
// component ending in ".app" less that ending; otherwise the last component.
std::string logLineAppName(const std::string& path);

// Seconds since 1970 as the shortest plain decimal text that reads back as the same number.
std::string secondsSince1970Text(WallClock::TimePoint time);

// The log file's line of one connection, without the logger's own prefix. Every value stands
// between "#" marks; a "%" or any other character of a value is written as it is.
std::string connectionLogLine(const ConnectionEvent& event, WallClock::TimePoint time);

}  // namespace halvex
