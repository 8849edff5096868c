#pragma once
// The grammar of a request line: seven fields separated by single blanks; a line feed, wherever
// it stands, is no part of any field.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvex {

// One request, as it travels from the parser to the decision. The parser fills the line's seven
// fields (pids read once, as numbers); the intake adds the tag, the process's path and its user.
struct Request {
  // The line as received, line feeds and all: replies echo it.
  std::string originalRequestString;
  std::string daemonToken;
  std::string processIP;
  std::string processPort;
  std::int32_t processPid = 0;
  std::string processUDPorTCP;
  std::string processIPversion;
  // The pid of the application responsible for a helper service; 0 names none.
  std::int32_t responsibleApp = 0;

  std::string tagNotify;
  // The executable's path.
  std::string processName;
  // The effective user id, -1 when it could not be read.
  std::int32_t processUID = -1;
};

// Every line feed removed.
std::string withoutLineFeeds(std::string_view line);
// Split at each single blank: two blanks in a row make an empty field.
std::vector<std::string> splitAtBlanks(std::string_view text);
// The seven fields of a line (line feeds removed first), or nothing when there are not seven.
std::optional<Request> parseRequest(std::string_view line);
// A pid field read as the daemon writes it: decimal digits, read as a 32-bit value. Text that is
// no number reads as 0, which names no process.
std::int32_t pidFromField(std::string_view field);

// The reply suffixes.
inline constexpr std::string_view kReplyPassApp = " 0 # #";

}  // namespace halvex
