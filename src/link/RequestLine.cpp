#include "link/RequestLine.h"

#include <cctype>

namespace halvex {

std::string withoutLineFeeds(std::string_view line) {
  std::string out;
  out.reserve(line.size());
  for (char c : line)
    if (c != '\n') out.push_back(c);
  return out;
}

std::vector<std::string> splitAtBlanks(std::string_view text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (;;) {
    const auto blank = text.find(' ', start);
    if (blank == std::string_view::npos) {
      parts.emplace_back(text.substr(start));
      return parts;
    }
    parts.emplace_back(text.substr(start, blank - start));
    start = blank + 1;
  }
}

std::optional<Request> parseRequest(std::string_view line) {
  auto parts = splitAtBlanks(withoutLineFeeds(line));
  if (parts.size() != 7) return std::nullopt;
  Request request;
  request.originalRequestString = std::string(line);
  request.daemonToken = std::move(parts[0]);
  request.processIP = std::move(parts[1]);
  request.processPort = std::move(parts[2]);
  request.processPid = pidFromField(parts[3]);
  request.processUDPorTCP = std::move(parts[4]);
  request.processIPversion = std::move(parts[5]);
  request.responsibleApp = pidFromField(parts[6]);
  return request;
}

std::int32_t pidFromField(std::string_view field) {
  // Like the platform's integer reading of a text: optional blanks and sign, then digits up to the
  // first other character; no digits give 0; the value is clamped to the 32-bit range.
  std::size_t i = 0;
  while (i < field.size() && std::isspace(static_cast<unsigned char>(field[i]))) ++i;
  bool negative = false;
  if (i < field.size() && (field[i] == '-' || field[i] == '+')) negative = field[i++] == '-';
  std::int64_t value = 0;
  for (; i < field.size() && std::isdigit(static_cast<unsigned char>(field[i])); ++i) {
    value = value * 10 + (field[i] - '0');
    if (value > INT32_MAX) {
      value = negative ? -static_cast<std::int64_t>(INT32_MIN) : INT32_MAX;
      break;
    }
  }
  return static_cast<std::int32_t>(negative ? -value : value);
}

}  // namespace halvex
