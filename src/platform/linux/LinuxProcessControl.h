#pragma once

#include "platform/ProcessControl.h"

namespace halvex {

class LinuxProcessControl final : public ProcessControl {
 public:
  [[noreturn]] void exitProcess(int status) override;
  [[noreturn]] void fatal(const std::string& message) override;
};

}  // namespace halvex
