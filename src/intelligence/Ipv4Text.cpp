#include "intelligence/Ipv4Text.h"

#include "rules/AddressText.h"

namespace halvex {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::optional<std::uint32_t> parseIpv4Address(std::string_view text) {
  // The one lenient reader of the rules, so that a zone and a rule read an address alike.
  const auto bytes = addr::inetAton(text);
  if (!bytes) return std::nullopt;
  return static_cast<std::uint32_t>((*bytes)[0]) << 24 | static_cast<std::uint32_t>((*bytes)[1]) << 16 |
         static_cast<std::uint32_t>((*bytes)[2]) << 8 | static_cast<std::uint32_t>((*bytes)[3]);
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
