#include "log/ConnectionEvent.h"

#include <charconv>
#include <limits>

namespace halvex {
namespace {

// A field as a fatal message may quote it: at most 32 bytes, anything unprintable as "?".
std::string quoted(std::string_view field) {
  std::string text = "\"";
  for (std::size_t i = 0; i < field.size() && i < 32; ++i) {
    const auto c = static_cast<unsigned char>(field[i]);
    text.push_back(c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '?');
  }
  if (field.size() > 32) text += "...";
  return text + "\"";
}

}  // namespace

std::optional<std::int32_t> strictDecimal(std::string_view field) {
  if (field.empty()) return std::nullopt;
  std::int64_t value = 0;
  for (const char c : field) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
    if (value > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  }
  return static_cast<std::int32_t>(value);
}

ConnectionEventBuilder::ConnectionEventBuilder(Links links) : links_(std::move(links)), xpc_(links_.owners) {}

ConnectionEvent ConnectionEventBuilder::build(const std::vector<std::string>& fields) const {
  if (fields.size() < 4)
    links_.process.fatal("connection line with " + std::to_string(fields.size()) + " fields: at least 4 expected");
  const auto port = strictDecimal(fields[2]);
  if (!port) links_.process.fatal("connection line's port is no decimal number: " + quoted(fields[2]));
  const auto pid = strictDecimal(fields[3]);
  if (!pid) links_.process.fatal("connection line's pid is no decimal number: " + quoted(fields[3]));

  const ConnectionAttribution who =
      attributeConnection(fields, links_.myUID, links_.infoprocess, links_.infoRootProcess, xpc_);
  ConnectionEvent event;
  event.path = who.path;
  event.address = fields[1];
  event.port = *port;
  event.pid = *pid;
  event.uid = who.uid;
  event.blocked = fields.size() > 6;
  event.via = who.viaName;
  event.xpcPath = who.viaPath;
  event.otherUser = who.otherUser;
  return event;
}

std::string logLineAppName(const std::string& path) {
  if (path.find(".app/Contents/") != std::string::npos) {
    std::size_t start = 0;
    for (;;) {
      const auto slash = path.find('/', start);
      const std::string_view component =
          std::string_view(path).substr(start, slash == std::string::npos ? std::string::npos : slash - start);
      if (component.size() >= 4 && component.substr(component.size() - 4) == ".app")
        return std::string(component.substr(0, component.size() - 4));
      if (slash == std::string::npos) return {};
      start = slash + 1;
    }
  }
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string secondsSince1970Text(WallClock::TimePoint time) {
  const double seconds = std::chrono::duration<double>(time.time_since_epoch()).count();
  char text[400];
  const auto result = std::to_chars(text, text + sizeof text, seconds, std::chars_format::fixed);
  return std::string(text, result.ptr);
}

std::string connectionLogLine(const ConnectionEvent& event, WallClock::TimePoint time) {
  std::string line = "[CONN] #";
  line += secondsSince1970Text(time);
  line += "# #";
  line += event.blocked ? "BLOCK" : "PASS";
  line += "# PROC:#";
  line += logLineAppName(event.path);
  line += "#";
  line += event.via.empty() ? "#" : " VIA:#" + event.via;
  line += "# PID:#";
  line += std::to_string(event.pid);
  line += "# UID:#";
  line += event.uid;
  line += "# PATH:#";
  line += event.path;
  line += "# ADDR:#";
  line += event.address;
  line += "#";
  line += std::to_string(event.port);
  return line;
}

}  // namespace halvex
