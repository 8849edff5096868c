// Any two texts as an address and a network: the matchers must answer without reading outside
// their buffers, and a network that matches must also validate.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "rules/DVMatchIP.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const auto split = input.find('\n');
  const auto address = input.substr(0, split);
  const auto network = split == std::string_view::npos ? std::string_view{} : input.substr(split + 1);
  halvex::DVMatchIP match;
  match.matchIP(address, network);
  if (match.matchIPV6(address, network) && !match.validateIPV6cidr(network)) __builtin_trap();
  // A /0 network of a readable address matches every readable address.
  if (match.matchIP("10.0.0.1", "0.0.0.0/0") != true) __builtin_trap();
  return 0;
}
