#include "intelligence/Ipv4Text.h"

namespace halvex {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

int digitValue(char c, int base) {
  int v = -1;
  if (c >= '0' && c <= '9') v = c - '0';
  else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
  else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
  return v >= 0 && v < base ? v : -1;
}

}  // namespace

std::optional<std::uint32_t> parseIpv4Address(std::string_view text) {
  std::uint64_t parts[4];
  int count = 0;
  std::size_t i = 0;
  for (;;) {
    // Every part starts with a digit; its base follows the C conventions (0x.., 0.., decimal).
    if (i >= text.size() || !isDigit(text[i])) return std::nullopt;
    int base = 10;
    if (text[i] == '0') {
      base = 8;
      ++i;
      if (i < text.size() && (text[i] == 'x' || text[i] == 'X')) {
        base = 16;
        ++i;
      }
    }
    std::uint64_t value = 0;
    while (i < text.size()) {
      const int d = digitValue(text[i], base);
      if (d < 0) break;
      value = value * static_cast<std::uint64_t>(base) + static_cast<std::uint64_t>(d);
      if (value > 0xFFFFFFFFull) return std::nullopt;
      ++i;
    }
    if (count == 4) return std::nullopt;
    parts[count++] = value;
    if (i < text.size() && text[i] == '.') {
      ++i;
      continue;
    }
    break;
  }
  // Anything after the number must begin with white space.
  if (i < text.size() && !isSpace(text[i])) return std::nullopt;
  switch (count) {
    case 1:
      return static_cast<std::uint32_t>(parts[0]);
    case 2:
      if (parts[0] > 0xFF || parts[1] > 0xFFFFFF) return std::nullopt;
      return static_cast<std::uint32_t>(parts[0] << 24 | parts[1]);
    case 3:
      if (parts[0] > 0xFF || parts[1] > 0xFF || parts[2] > 0xFFFF) return std::nullopt;
      return static_cast<std::uint32_t>(parts[0] << 24 | parts[1] << 16 | parts[2]);
    default:
      for (int k = 0; k < 4; ++k)
        if (parts[k] > 0xFF) return std::nullopt;
      return static_cast<std::uint32_t>(parts[0] << 24 | parts[1] << 16 | parts[2] << 8 | parts[3]);
  }
}

std::optional<Ipv4Range> parseIpv4Network(std::string_view line) {
  const auto slash = line.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const auto network = parseIpv4Address(line.substr(0, slash));
  if (!network) return std::nullopt;
  // The prefix as atoi reads it: blanks, a sign, digits; no digits is 0.
  std::string_view p = line.substr(slash + 1);
  std::size_t i = 0;
  while (i < p.size() && isSpace(p[i])) ++i;
  bool negative = false;
  if (i < p.size() && (p[i] == '+' || p[i] == '-')) negative = p[i++] == '-';
  std::uint64_t prefix = 0;
  while (i < p.size() && isDigit(p[i]) && prefix <= 32) prefix = prefix * 10 + static_cast<std::uint64_t>(p[i++] - '0');
  if (negative && prefix != 0) return std::nullopt;
  if (prefix > 32) return std::nullopt;
  const std::uint32_t mask = prefix == 0 ? 0u : ~std::uint32_t{0} << (32 - prefix);
  return Ipv4Range{*network & mask, (*network & mask) | ~mask};
}

bool matchIpv4(std::string_view address, std::string_view network) {
  const auto a = parseIpv4Address(address);
  const auto n = parseIpv4Network(network);
  return a && n && *a >= n->first && *a <= n->last;
}

}  // namespace halvex
