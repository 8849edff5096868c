#pragma once
// Is a text one plain IPv4 or IPv6 address (no network, no host name)?

#include <string_view>

namespace halvex {

class DVValidateIP {
 public:
  bool isValidIpAddress(std::string_view text) const;
};

}  // namespace halvex
