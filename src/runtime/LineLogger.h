#pragma once
// The platform's line logger: each line gets a time stamp, the process name and the pid ahead of
// it and goes to standard error, which the agent redirects to its per-user log file. Printed
// messages (the socket layer's words) go to standard output as they are.

#include <cstdio>
#include <string>
#include <string_view>

namespace halvex {

class LineLogger {
 public:
  LineLogger(std::string processName, int pid, std::FILE* logStream = stderr, std::FILE* printStream = stdout);

  // One line, prefixed; a trailing line feed is added when missing.
  void log(std::string_view line) const;
  void logf(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  // Raw text to standard output, flushed at once so that nothing is lost if the process ends.
  void print(std::string_view text) const;
  void printf(const char* format, ...) const __attribute__((format(printf, 2, 3)));

  // Reads the stream at each call, so that a redirect of standard error takes effect.
  void setStreams(std::FILE* logStream, std::FILE* printStream);

 private:
  std::string prefix() const;
  std::string processName_;
  int pid_;
  std::FILE* logStream_;
  std::FILE* printStream_;
};

}  // namespace halvex
