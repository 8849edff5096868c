#pragma once
// Programs started with posix_spawn: standard input from /dev/null, one pipe for standard output
// (and standard error when joined), the child leading a process group of its own so that a time
// limit ends everything it started.

#include <chrono>

#include "platform/ProcessRunner.h"

namespace halvex {

class LinuxProcessRunner final : public ProcessRunner {
 public:
  // `lingering` bounds how long output is still awaited after the program ended while something
  // it left running keeps the pipe open (a command that starts a daemon).
  explicit LinuxProcessRunner(std::chrono::milliseconds lingering = std::chrono::milliseconds(2000));
  ProcessResult run(const ProcessRequest& request) override;

 private:
  std::chrono::milliseconds lingering_;
};

}  // namespace halvex
