#pragma once
// Redirecting the process's standard error to the agent's log file.

#include <string>

namespace halvex {

class StandardStreams {
 public:
  virtual ~StandardStreams() = default;
  // Reopens standard error in append mode on `path`; on failure standard error is left as it was
  // and false comes back (the agent goes on; only the lines are lost).
  virtual bool redirectStandardError(const std::string& path) = 0;
};

}  // namespace halvex
