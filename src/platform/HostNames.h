#pragma once
// Host names of an address: the reverse look-up of the system's resolver.

#include <string>
#include <vector>

namespace halvex {

class HostNames {
 public:
  virtual ~HostNames() = default;
  // The names of a numeric IPv4 or IPv6 address, the canonical one first; empty when the
  // resolver knows none or the text is no address. Blocks: call off the main loop.
  virtual std::vector<std::string> namesForAddress(const std::string& address) const = 0;
};

}  // namespace halvex
