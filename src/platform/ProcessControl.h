#pragma once
// Ending the process: the channel's fatal start-up failures and the programming errors that the
// agent treats as fatal. Fakes throw instead, so tests can watch these paths.

#include <string>

namespace halvex {

class ProcessControl {
 public:
  virtual ~ProcessControl() = default;
  // Flushes the standard streams and ends the process with `status`.
  [[noreturn]] virtual void exitProcess(int status) = 0;
  // A programming error: the message goes to standard error, then the process aborts.
  [[noreturn]] virtual void fatal(const std::string& message) = 0;
};

}  // namespace halvex
