#pragma once
// Starting a program and collecting what it prints: the one road by which the agent runs
// commands. The program is started directly from its path and arguments; no shell stands in
// between unless the caller names one.

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace halvex {

struct ProcessRequest {
  std::string launchPath;
  std::vector<std::string> arguments;  // without the program name itself
  // True: standard error shares the pipe of standard output, so error text is mixed into the
  // output. False: standard error is thrown away.
  bool joinStandardError = true;
  // Beyond this the program (and whatever it started in its process group) is killed and the
  // output read so far is returned. Empty: no limit.
  std::optional<std::chrono::milliseconds> timeout;
};

struct ProcessResult {
  bool launched = false;  // false: the program could not be started at all
  bool timedOut = false;  // killed at the time limit
  int exitStatus = -1;    // exit code; -1 for a program ended by a signal or never started
  std::string output;     // raw bytes, not checked for any encoding
};

class ProcessRunner {
 public:
  virtual ~ProcessRunner() = default;
  // Blocks the calling thread until the program ends (or the time limit). The output is read
  // while the program runs, so a program that prints a lot never stalls on a full pipe.
  virtual ProcessResult run(const ProcessRequest& request) = 0;
};

}  // namespace halvex
