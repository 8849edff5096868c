#pragma once
// Reverse names from the system resolver (getnameinfo), and the names' forward entries are not
// consulted: the first name is the canonical one the resolver gives.

#include "platform/HostNames.h"

namespace halvex {

class LinuxHostNames final : public HostNames {
 public:
  std::vector<std::string> namesForAddress(const std::string& address) const override;
};

}  // namespace halvex
