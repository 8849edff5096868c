#include "rules/AddressText.h"

#include <climits>
#include <cstring>

namespace halvex::addr {
namespace {

std::string_view untilNul(std::string_view text) {
  const auto nul = text.find('\0');
  return nul == std::string_view::npos ? text : text.substr(0, nul);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads one number the way an unsigned long is read with base 0 from text that starts with a
// digit. Values beyond 32 bits saturate so that the caller refuses them.
std::uint64_t readNumber(std::string_view text, std::size_t& pos) {
  constexpr std::uint64_t cap = 0x1'0000'0000ULL;
  std::uint64_t value = 0;
  auto accumulate = [&](std::uint64_t base, int digit) {
    value = value * base + static_cast<std::uint64_t>(digit);
    if (value > cap) value = cap;
  };
  if (text[pos] == '0' && pos + 2 < text.size() && (text[pos + 1] == 'x' || text[pos + 1] == 'X') &&
      hexValue(text[pos + 2]) >= 0) {
    pos += 2;
    while (pos < text.size() && hexValue(text[pos]) >= 0) accumulate(16, hexValue(text[pos++]));
  } else if (text[pos] == '0') {
    while (pos < text.size() && text[pos] >= '0' && text[pos] <= '7') accumulate(8, text[pos++] - '0');
  } else {
    while (pos < text.size() && isDigit(text[pos])) accumulate(10, text[pos++] - '0');
  }
  return value;
}

}  // namespace

std::optional<Ipv4Bytes> inetAton(std::string_view text) {
  text = untilNul(text);
  static constexpr std::uint64_t maxOfLast[4] = {0xffffffffULL, 0xffffffULL, 0xffffULL, 0xffULL};
  Ipv4Bytes parts{};
  std::size_t partCount = 0;
  std::size_t pos = 0;
  std::uint64_t value = 0;
  for (;;) {
    if (pos >= text.size() || !isDigit(text[pos])) return std::nullopt;
    value = readNumber(text, pos);
    if (value > 0xffffffffULL) return std::nullopt;
    if (pos < text.size() && text[pos] == '.') {
      if (partCount > 2 || value > 0xff) return std::nullopt;
      parts[partCount++] = static_cast<std::uint8_t>(value);
      ++pos;
    } else {
      break;
    }
  }
  if (pos < text.size() && !isSpace(text[pos])) return std::nullopt;
  if (value > maxOfLast[partCount]) return std::nullopt;
  // The last part fills the bytes that the dotted parts left.
  for (int i = 3; i >= static_cast<int>(partCount); --i) {
    parts[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value & 0xff);
    value >>= 8;
  }
  return parts;
}

std::optional<Ipv4Bytes> inetPton4(std::string_view text) {
  text = untilNul(text);
  Ipv4Bytes out{};
  int octets = 0;
  bool sawDigit = false;
  unsigned current = 0;
  for (char ch : text) {
    if (isDigit(ch)) {
      if (sawDigit && current == 0) return std::nullopt;  // no leading zeros
      current = current * 10 + static_cast<unsigned>(ch - '0');
      if (current > 255) return std::nullopt;
      if (!sawDigit) {
        if (++octets > 4) return std::nullopt;
        sawDigit = true;
      }
      out[static_cast<std::size_t>(octets - 1)] = static_cast<std::uint8_t>(current);
    } else if (ch == '.' && sawDigit) {
      if (octets == 4) return std::nullopt;
      current = 0;
      sawDigit = false;
    } else {
      return std::nullopt;
    }
  }
  if (octets < 4 || !sawDigit) return std::nullopt;
  return out;
}

std::optional<Ipv6Bytes> inetPton6(std::string_view text) {
  text = untilNul(text);
  Ipv6Bytes tmp{};
  std::size_t tp = 0;
  constexpr std::size_t endp = 16;
  std::optional<std::size_t> colonp;
  std::size_t src = 0;
  if (text.empty()) return std::nullopt;
  if (text[0] == ':') {
    if (text.size() < 2 || text[1] != ':') return std::nullopt;
    src = 1;
  }
  std::size_t curtok = src;
  int xdigitsSeen = 0;
  unsigned value = 0;
  while (src < text.size()) {
    const char ch = text[src++];
    const int digit = hexValue(ch);
    if (digit >= 0) {
      if (xdigitsSeen == 4) return std::nullopt;
      value = (value << 4) | static_cast<unsigned>(digit);
      ++xdigitsSeen;
      continue;
    }
    if (ch == ':') {
      curtok = src;
      if (xdigitsSeen == 0) {
        if (colonp) return std::nullopt;
        colonp = tp;
        continue;
      }
      if (src == text.size()) return std::nullopt;
      if (tp + 2 > endp) return std::nullopt;
      tmp[tp++] = static_cast<std::uint8_t>(value >> 8);
      tmp[tp++] = static_cast<std::uint8_t>(value & 0xff);
      xdigitsSeen = 0;
      value = 0;
      continue;
    }
    if (ch == '.' && tp + 4 <= endp) {
      const auto v4 = inetPton4(text.substr(curtok));
      if (!v4) return std::nullopt;
      for (auto b : *v4) tmp[tp++] = b;
      xdigitsSeen = 0;
      break;
    }
    return std::nullopt;
  }
  if (xdigitsSeen > 0) {
    if (tp + 2 > endp) return std::nullopt;
    tmp[tp++] = static_cast<std::uint8_t>(value >> 8);
    tmp[tp++] = static_cast<std::uint8_t>(value & 0xff);
  }
  if (colonp) {
    if (tp == endp) return std::nullopt;  // "::" stands for at least one group
    const std::size_t n = tp - *colonp;
    for (std::size_t i = 1; i <= n; ++i) {
      tmp[endp - i] = tmp[*colonp + n - i];
      tmp[*colonp + n - i] = 0;
    }
    tp = endp;
  }
  if (tp != endp) return std::nullopt;
  return tmp;
}

int inetNetPton4(std::string_view text, std::uint8_t* dst, std::size_t size) {
  text = untilNul(text);
  std::size_t written = 0;
  std::size_t src = 0;
  auto at = [&](std::size_t i) -> char { return i < text.size() ? text[i] : '\0'; };
  auto put = [&](std::uint8_t byte) {
    if (written >= size) return false;
    dst[written++] = byte;
    return true;
  };
  char ch = at(src++);
  if (ch == '0' && (at(src) == 'x' || at(src) == 'X') && hexValue(at(src + 1)) >= 0) {
    // Hexadecimal: a string of nibbles, two to a byte.
    ++src;
    int dirty = 0;
    int tmp = 0;
    for (;;) {
      ch = at(src++);
      if (ch == '\0' || hexValue(ch) < 0) break;
      tmp = dirty == 0 ? hexValue(ch) : (tmp << 4) | hexValue(ch);
      if (++dirty == 2) {
        if (!put(static_cast<std::uint8_t>(tmp))) return -1;
        dirty = 0;
      }
    }
    if (dirty != 0 && !put(static_cast<std::uint8_t>(tmp << 4))) return -1;
  } else if (isDigit(ch)) {
    // Decimal: dotted numbers of at most 255.
    for (;;) {
      int tmp = 0;
      do {
        tmp = tmp * 10 + (ch - '0');
        if (tmp > 255) return -1;
        ch = at(src++);
      } while (ch != '\0' && isDigit(ch));
      if (!put(static_cast<std::uint8_t>(tmp))) return -1;
      if (ch == '\0' || ch == '/') break;
      if (ch != '.') return -1;
      ch = at(src++);
      if (!isDigit(ch)) return -1;
    }
  } else {
    return -1;
  }

  int bits = -1;
  if (ch == '/' && isDigit(at(src)) && written > 0) {
    ch = at(src++);
    bits = 0;
    do {
      bits = bits * 10 + (ch - '0');
      if (bits > 32) return -1;
      ch = at(src++);
    } while (ch != '\0' && isDigit(ch));
    if (ch != '\0') return -1;
  }
  if (ch != '\0') return -1;
  if (written == 0) return -1;
  if (bits == -1) {
    // No width given: the address class decides, widened to cover the bytes given.
    const std::uint8_t first = dst[0];
    if (first >= 240) bits = 32;
    else if (first >= 224) bits = 4;
    else if (first >= 192) bits = 24;
    else if (first >= 128) bits = 16;
    else bits = 8;
    // A multicast address keeps its 4 bits.
    if (bits >= 8 && bits < static_cast<int>(written * 8)) bits = static_cast<int>(written * 8);
  }
  while (bits > static_cast<int>(written * 8)) {
    if (!put(0)) return -1;
  }
  return bits;
}

namespace {

// A decimal prefix length of 0 to `limit` without leading zeros, and nothing after it.
bool readBits(std::string_view text, int limit, int& bits) {
  if (text.empty()) return false;
  int value = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isDigit(text[i])) return false;
    if (i != 0 && value == 0) return false;
    value = value * 10 + (text[i] - '0');
    if (value > limit) return false;
  }
  bits = value;
  return true;
}

// The dotted quad that may end an IPv6 text, with an optional "/" and prefix length.
bool readTrailingIpv4(std::string_view text, std::uint8_t* dst, int& bits) {
  std::size_t octets = 0;
  unsigned value = 0;
  int digits = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char ch = text[i];
    if (isDigit(ch)) {
      if (digits++ != 0 && value == 0) return false;
      value = value * 10 + static_cast<unsigned>(ch - '0');
      if (value > 255) return false;
      continue;
    }
    if (ch == '.' || ch == '/') {
      if (digits == 0 || octets > 3) return false;
      dst[octets++] = static_cast<std::uint8_t>(value);
      if (ch == '/') return octets == 4 && readBits(text.substr(i + 1), 128, bits);
      value = 0;
      digits = 0;
      continue;
    }
    return false;
  }
  if (digits == 0 || octets > 3) return false;
  dst[octets++] = static_cast<std::uint8_t>(value);
  return octets == 4;
}

// Writes the bytes under the prefix as the text gave them: a partial last byte keeps its low
// bits, and nothing past it is written.
int writePrefix(const std::uint8_t* bytes, int bits, std::uint8_t* dst, std::size_t size) {
  const auto count = static_cast<std::size_t>((bits + 7) / 8);
  if (count > size) return -1;
  std::memcpy(dst, bytes, count);
  return bits;
}

}  // namespace

int inetNetPton6(std::string_view text, std::uint8_t* dst, std::size_t size) {
  text = untilNul(text);
  // A whole address before the prefix is that address: "::" stands for the groups up to 128 bits
  // whatever the prefix, so "2001:db8::/32" is 2001:db8::/32 and "fe80::1/64" is fe80::/64.
  const auto slash = text.find('/');
  if (const auto address = inetPton6(text.substr(0, slash))) {
    int bits = 128;
    if (slash != std::string_view::npos && !readBits(text.substr(slash + 1), 128, bits)) return -1;
    return writePrefix(address->data(), bits, dst, size);
  }

  // Otherwise the abbreviated network form: the groups given cover the words under the prefix
  // ("2001:db8/32"), and a "::" fills only up to there.
  std::uint8_t tmp[16] = {};
  std::size_t tp = 0;
  std::optional<std::size_t> colonp;
  std::size_t src = 0;
  if (!text.empty() && text[0] == ':') {
    if (text.size() < 2 || text[1] != ':') return -1;
    src = 1;
  }
  std::size_t curtok = src;
  bool sawXdigit = false;
  unsigned value = 0;
  int digits = 0;
  int bits = -1;
  bool ipv4 = false;
  while (src < text.size()) {
    const char ch = text[src++];
    const int digit = hexValue(ch);
    if (digit >= 0) {
      value = (value << 4) | static_cast<unsigned>(digit);
      if (++digits > 4) return -1;
      sawXdigit = true;
      continue;
    }
    if (ch == ':') {
      curtok = src;
      if (!sawXdigit) {
        if (colonp) return -1;
        colonp = tp;
        continue;
      }
      if (src == text.size()) return -1;
      if (tp + 2 > 16) return -1;
      tmp[tp++] = static_cast<std::uint8_t>(value >> 8);
      tmp[tp++] = static_cast<std::uint8_t>(value & 0xff);
      sawXdigit = false;
      digits = 0;
      value = 0;
      continue;
    }
    if (ch == '.' && tp + 4 <= 16) {
      if (!readTrailingIpv4(text.substr(curtok), tmp + tp, bits)) return -1;
      tp += 4;
      sawXdigit = false;
      ipv4 = true;
      break;
    }
    if (ch == '/' && readBits(text.substr(src), 128, bits)) break;
    return -1;
  }
  if (sawXdigit) {
    if (tp + 2 > 16) return -1;
    tmp[tp++] = static_cast<std::uint8_t>(value >> 8);
    tmp[tp++] = static_cast<std::uint8_t>(value & 0xff);
  }
  if (bits == -1) bits = 128;

  std::size_t words = static_cast<std::size_t>((bits + 15) / 16);
  if (words < 2) words = 2;
  if (ipv4) words = 8;
  const std::size_t endp = 2 * words;
  if (colonp) {
    if (tp == endp) return -1;
    if (tp > endp) return -1;
    const std::size_t n = tp - *colonp;
    for (std::size_t i = 1; i <= n; ++i) {
      tmp[endp - i] = tmp[*colonp + n - i];
      tmp[*colonp + n - i] = 0;
    }
    tp = endp;
  }
  if (tp != endp) return -1;
  return writePrefix(tmp, bits, dst, size);
}

int inetNetMask(int bits, Ipv4Bytes& mask) {
  const auto n = static_cast<unsigned>(bits);
  if (n >= 33) return -1;
  mask = {0, 0, 0, 0};
  if (n > 0) {
    const unsigned whole = (n + 7) / 8;
    for (unsigned i = 0; i + 1 < whole; ++i) mask[i] = 0xff;
    mask[whole - 1] = static_cast<std::uint8_t>(~(1u << ((0u - n) & 7u)) + 1u);
  }
  return 0;
}

bool bitsAgree(const Ipv6Bytes& a, const Ipv6Bytes& b, int bits) {
  if (bits < 0 || bits > 128) return false;
  const auto n = static_cast<std::uint32_t>(bits);
  const std::uint32_t words = n >> 5;
  if (words != 0 && std::memcmp(a.data(), b.data(), std::size_t{words} * 4) != 0) return false;
  const std::uint32_t rest = n & 31;
  if (rest != 0) {
    // The `rest` high bits of the word at index `words`, compared byte by byte in network order.
    const std::uint32_t mask = 0xffffffffu << (32 - rest);
    for (std::uint32_t i = 0; i < 4; ++i) {
      const auto maskByte = static_cast<std::uint8_t>(mask >> (24 - 8 * i));
      if (((a[words * 4 + i] ^ b[words * 4 + i]) & maskByte) != 0) return false;
    }
  }
  return true;
}

int intValue(std::string_view text) {
  text = untilNul(text);
  std::size_t i = 0;
  while (i < text.size() && isSpace(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  long long value = 0;
  while (i < text.size() && isDigit(text[i])) {
    value = value * 10 + (text[i++] - '0');
    if (value > static_cast<long long>(INT_MAX) + 1) value = static_cast<long long>(INT_MAX) + 1;
  }
  if (negative) return value > INT_MAX ? INT_MIN : static_cast<int>(-value);
  return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

}  // namespace halvex::addr
