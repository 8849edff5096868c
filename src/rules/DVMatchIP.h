#pragma once
// Network tests on addresses as the rules store them: is an address inside a network, and is a
// text a network at all. Stateless; make one wherever it is needed.
//
// Inputs that the lenient readers refuse make a failed match rather than a comparison of stale
// bytes: an address or network address that the IPv4 reader refuses, a prefix length of 33 or
// more (or a negative one), an IPv6 network that the network reader refuses.

#include <string_view>

namespace halvex {

class DVMatchIP {
 public:
  // `network` is "address/prefix". A prefix text that is no number counts as 0, which matches
  // every address; a text without "/" matches nothing.
  bool matchIP(std::string_view address, std::string_view network) const;
  // `network` is an IPv6 text with an optional "/prefix"; without one all 128 bits count.
  bool matchIPV6(std::string_view address, std::string_view network) const;
  // True for any text the network readers take: "10/8" and a bare "10.0.0.1" included.
  bool validateIPV6cidr(std::string_view text) const;
  bool validateIPV4cidr(std::string_view text) const;
};

}  // namespace halvex
