#include "rules/NumericAddress.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "rules/AddressText.h"

namespace halvex {
namespace {

std::string dotted(const std::uint8_t* b) {
  return std::to_string(b[0]) + "." + std::to_string(b[1]) + "." + std::to_string(b[2]) + "." + std::to_string(b[3]);
}

std::string hexGroup(unsigned value) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string out;
  bool started = false;
  for (int shift = 12; shift >= 0; shift -= 4) {
    const unsigned d = (value >> shift) & 0xF;
    if (d || started || shift == 0) {
      out += digits[d];
      started = true;
    }
  }
  return out;
}

std::string ipv6Text(const addr::Ipv6Bytes& b) {
  static constexpr std::array<std::uint8_t, 12> mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
  if (std::equal(mapped.begin(), mapped.end(), b.begin())) return "::ffff:" + dotted(&b[12]);
  std::array<unsigned, 8> groups{};
  for (std::size_t i = 0; i < groups.size(); ++i) groups[i] = (unsigned{b[2 * i]} << 8) | b[(2 * i) + 1];
  // The longest run of zero groups, the first of equal runs; a single zero group stays.
  int bestStart = -1, bestLength = 0;
  for (int i = 0; i < 8;) {
    if (groups[i] != 0) {
      ++i;
      continue;
    }
    int j = i;
    while (j < 8 && groups[j] == 0) ++j;
    if (j - i > bestLength) bestStart = i, bestLength = j - i;
    i = j;
  }
  if (bestLength < 2) bestStart = -1;
  std::string out;
  for (int i = 0; i < 8; ++i) {
    if (i == bestStart) {
      out += "::";
      i += bestLength - 1;
      continue;
    }
    if (!out.empty() && out.back() != ':') out += ':';
    out += hexGroup(groups[i]);
  }
  return out;
}

}  // namespace

std::optional<std::string> numericAddress(std::string_view text) {
  // The readers stop at a NUL; whatever hides behind one must not pass as part of an address.
  if (text.find('\0') != std::string_view::npos) return std::nullopt;
  if (const auto v4 = addr::inetPton4(text)) return dotted(v4->data());
  if (const auto v6 = addr::inetPton6(text)) return ipv6Text(*v6);
  return std::nullopt;
}

}  // namespace halvex
