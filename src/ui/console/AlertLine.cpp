#include "ui/console/AlertLine.h"

#include <charconv>
#include <limits>
#include <vector>

namespace halvex {
namespace {

std::vector<std::string_view> words(std::string_view text) {
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r')) ++i;
    const std::size_t start = i;
    while (i < text.size() && text[i] != ' ' && text[i] != '\t' && text[i] != '\r') ++i;
    if (i > start) out.push_back(text.substr(start, i - start));
  }
  return out;
}

AlertLine invalid(std::string error) {
  AlertLine line;
  line.kind = AlertLine::Kind::invalid;
  line.error = std::move(error);
  return line;
}

// A whole number from `least` to `most`; nothing for any other text.
std::optional<std::int64_t> wholeNumber(std::string_view text, std::int64_t least, std::int64_t most) {
  std::int64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (value < least || value > most) return std::nullopt;
  return value;
}

}  // namespace

AlertLine parseAlertLine(std::string_view text) {
  const auto w = words(text);
  AlertLine line;
  if (w.empty()) return line;
  const auto alone = [&](AlertLine::Kind kind) {
    if (w.size() != 1) return invalid("'" + std::string(w[0]) + "' takes nothing after it");
    AlertLine only;
    only.kind = kind;
    return only;
  };
  if (w[0] == "silence") return alone(AlertLine::Kind::silence);
  if (w[0] == "kill") return alone(AlertLine::Kind::kill);
  if (w[0] == "wait") return alone(AlertLine::Kind::wait);
  // "signature PATH" is the console's question about any program.
  if (w[0] == "signature" && w.size() == 1) return alone(AlertLine::Kind::signature);
  if (w[0] != "pass" && w[0] != "block") return line;

  line.kind = AlertLine::Kind::answer;
  line.answer.pass = w[0] == "pass";
  if (w.size() == 1) return line;
  const auto scope = w[1];
  const auto extra = [&](std::size_t allowed) { return w.size() > allowed; };
  if (scope == "app") {
    if (extra(3)) return invalid("too many words after 'app'");
    line.answer.scope = AlertScope::app;
    if (w.size() == 3) {
      if (w[2] == "forever") {
        line.answer.duration = AppDuration::forever;
      } else if (w[2] == "login") {
        line.answer.duration = AppDuration::untilLogout;
      } else if (const auto m = wholeNumber(w[2], kMinAnswerMinutes, kMaxAnswerMinutes)) {
        line.answer.duration = AppDuration::minutes;
        line.answer.minutes = *m;
      } else {
        return invalid("after 'app': forever, login, or minutes from " + std::to_string(kMinAnswerMinutes) + " to " +
                       std::to_string(kMaxAnswerMinutes));
      }
    }
  } else if (scope == "port") {
    if (extra(2)) return invalid("'port' takes nothing after it");
    line.answer.scope = AlertScope::port;
  } else if (scope == "address") {
    if (extra(4) || (w.size() >= 3 && w[2] != "quiet")) return invalid("after 'address' only 'quiet [SECONDS]'");
    line.answer.scope = AlertScope::address;
    line.answer.quiet = w.size() >= 3;
    if (w.size() == 4) {
      // The longest quiet time is the agent's setting: the answer itself checks against it.
      const auto seconds = wholeNumber(w[3], 1, std::numeric_limits<std::int64_t>::max());
      if (!seconds) return invalid("after 'quiet': the seconds, a whole number from 1");
      line.answer.quietSeconds = *seconds;
    }
  } else if (scope == "network") {
    if (w.size() != 3) return invalid("'network' takes one network, e.g. network 192.168.1.0/24");
    line.answer.scope = AlertScope::network;
    line.answer.network = std::string(w[2]);
  } else {
    return invalid("unknown scope '" + std::string(scope.substr(0, 32)) + "'");
  }
  return line;
}

}  // namespace halvex
