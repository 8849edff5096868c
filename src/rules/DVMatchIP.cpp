#include "rules/DVMatchIP.h"

#include "rules/AddressText.h"

namespace halvex {

bool DVMatchIP::matchIP(std::string_view address, std::string_view network) const {
  const auto slash = network.find('/');
  if (slash == std::string_view::npos) return false;
  const auto networkAddress = network.substr(0, slash);
  auto prefixText = network.substr(slash + 1);
  prefixText = prefixText.substr(0, prefixText.find('/'));

  const auto host = addr::inetAton(address);
  const auto net = addr::inetAton(networkAddress);
  if (!host || !net) return false;
  addr::Ipv4Bytes mask{};
  if (addr::inetNetMask(addr::intValue(prefixText), mask) != 0) return false;
  for (std::size_t i = 0; i < 4; ++i) {
    if ((((*host)[i] ^ (*net)[i]) & mask[i]) != 0) return false;
  }
  return true;
}

bool DVMatchIP::matchIPV6(std::string_view address, std::string_view network) const {
  // An address that is no IPv6 text leaves the cleared buffer: it then agrees with any network
  // over zero bits ("::/0" matches it too).
  const auto host = addr::inetPton6(address).value_or(addr::Ipv6Bytes{});
  addr::Ipv6Bytes net{};
  const int bits = addr::inetNetPton6(network, net.data(), net.size());
  if (bits < 0) return false;
  return addr::bitsAgree(host, net, bits);
}

bool DVMatchIP::validateIPV6cidr(std::string_view text) const {
  addr::Ipv6Bytes buffer{};
  return addr::inetNetPton6(text, buffer.data(), buffer.size()) != -1;
}

bool DVMatchIP::validateIPV4cidr(std::string_view text) const {
  addr::Ipv4Bytes buffer{};
  return addr::inetNetPton4(text, buffer.data(), buffer.size()) != -1;
}

}  // namespace halvex
