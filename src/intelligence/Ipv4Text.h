#pragma once
// IPv4 addresses and networks as the zone files and the address rules write them. Parsing follows
// the C library's lenient reading (short and octal forms such as "10.1" or "010.0.0.1"); a network
// is "address/prefix" whose prefix reads as a number the way atoi does ("abc" is 0). A network
// whose address is refused or whose prefix is not in 0..32 matches nothing.

#include <cstdint>
#include <optional>
#include <string_view>

namespace halvex {

struct Ipv4Range {
  std::uint32_t first = 0;
  std::uint32_t last = 0;
};

// The address in host order, or nothing for a text the lenient reading refuses.
std::optional<std::uint32_t> parseIpv4Address(std::string_view text);
// The addresses a network line covers, or nothing for a line that can match no address.
std::optional<Ipv4Range> parseIpv4Network(std::string_view line);
// Is the address inside the network? False when either text is refused.
bool matchIpv4(std::string_view address, std::string_view network);

}  // namespace halvex
