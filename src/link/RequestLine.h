#pragma once
// The grammar of a request line: seven fields separated by single blanks; a line feed, wherever
// it stands, is no part of any field.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvex {

struct RequestFields {
  std::string daemonToken;
  std::string processIP;
  std::string processPort;
  std::string processPid;
  std::string processUDPorTCP;
  std::string processIPversion;
  std::string responsibleApp;
};

// Every line feed removed.
std::string withoutLineFeeds(std::string_view line);
// Split at each single blank: two blanks in a row make an empty field.
std::vector<std::string> splitAtBlanks(std::string_view text);
// The seven fields of a line (line feeds removed first), or nothing when there are not seven.
std::optional<RequestFields> parseRequestLine(std::string_view line);
// A pid field read as the daemon writes it: decimal digits, read as a 32-bit value. Text that is
// no number reads as 0, which names no process.
std::int32_t pidFromField(std::string_view field);

// The reply suffixes.
inline constexpr std::string_view kReplyPassApp = " 0 # #";

}  // namespace halvex
