// Any text through the address and network validators. A valid plain address is also a valid
// network of its family and matches itself.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "rules/AddressText.h"
#include "rules/DVMatchIP.h"
#include "rules/DVValidateIP.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  halvex::DVValidateIP validate;
  halvex::DVMatchIP match;
  const bool v4cidr = match.validateIPV4cidr(text);
  const bool v6cidr = match.validateIPV6cidr(text);
  if (validate.isValidIpAddress(text) && text.find('\0') == std::string_view::npos) {
    const bool isV4 = halvex::addr::inetPton4(text).has_value();
    if (isV4 && (!v4cidr || !match.matchIP(text, std::string(text) + "/32"))) __builtin_trap();
    if (!isV4 && (!v6cidr || !match.matchIPV6(text, text))) __builtin_trap();
  }
  halvex::addr::intValue(text);
  halvex::addr::inetAton(text);
  return 0;
}
