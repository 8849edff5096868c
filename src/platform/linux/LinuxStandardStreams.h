#pragma once

#include "platform/StandardStreams.h"

namespace halvex {

class LinuxStandardStreams final : public StandardStreams {
 public:
  bool redirectStandardError(const std::string& path) override;
};

}  // namespace halvex
