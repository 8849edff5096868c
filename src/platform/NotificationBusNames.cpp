#include "platform/NotificationBusNames.h"

#include <cctype>

namespace halvex::notificationbus {
namespace {

bool plain(char c, bool first) {
  const auto u = static_cast<unsigned char>(c);
  if (c == '_') return false;
  if (std::isdigit(u)) return !first;
  return (u < 0x80) && std::isalpha(u);
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string memberForName(std::string_view name) {
  static const char* digits = "0123456789ABCDEF";
  // D-Bus allows no empty member; the empty name travels as a lone "_".
  if (name.empty()) return std::string(1, '_');
  std::string member;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    if (plain(c, i == 0)) {
      member.push_back(c);
    } else {
      const auto u = static_cast<unsigned char>(c);
      member.push_back('_');
      member.push_back(digits[u >> 4]);
      member.push_back(digits[u & 0xF]);
    }
  }
  return member;
}

std::optional<std::string> nameForMember(std::string_view member) {
  if (member == "_") return std::string();
  std::string name;
  for (std::size_t i = 0; i < member.size(); ++i) {
    if (member[i] != '_') {
      name.push_back(member[i]);
      continue;
    }
    if (i + 2 >= member.size()) return std::nullopt;
    const int hi = hexValue(member[i + 1]), lo = hexValue(member[i + 2]);
    if (hi < 0 || lo < 0) return std::nullopt;
    name.push_back(static_cast<char>(hi * 16 + lo));
    i += 2;
  }
  return name;
}

}  // namespace halvex::notificationbus
