#include "rules/DVValidateIP.h"

#include "rules/AddressText.h"

namespace halvex {

bool DVValidateIP::isValidIpAddress(std::string_view text) const {
  return addr::inetPton4(text).has_value() || addr::inetPton6(text).has_value();
}

}  // namespace halvex
