#include "runtime/LineLogger.h"

#include <chrono>
#include <cstdarg>
#include <ctime>
#include <vector>

namespace halvex {
namespace {

std::string vformat(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (n <= 0) return {};
  std::vector<char> buffer(static_cast<std::size_t>(n) + 1);
  std::vsnprintf(buffer.data(), buffer.size(), format, args);
  return std::string(buffer.data(), static_cast<std::size_t>(n));
}

}  // namespace

LineLogger::LineLogger(std::string processName, int pid, std::FILE* logStream, std::FILE* printStream)
    : processName_(std::move(processName)), pid_(pid), logStream_(logStream), printStream_(printStream) {}

void LineLogger::setStreams(std::FILE* logStream, std::FILE* printStream) {
  logStream_ = logStream;
  printStream_ = printStream;
}

std::string LineLogger::prefix() const {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  char stamp[64];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  char out[160];
  std::snprintf(out, sizeof out, "%s.%03lld %s[%d] ", stamp, static_cast<long long>(millis), processName_.c_str(),
                pid_);
  return out;
}

void LineLogger::log(std::string_view line) const {
  std::string text = prefix();
  text.append(line);
  if (text.empty() || text.back() != '\n') text.push_back('\n');
  // One write per line: the stream's own lock keeps lines of different threads whole.
  std::fwrite(text.data(), 1, text.size(), logStream_);
  std::fflush(logStream_);
}

void LineLogger::logf(const char* format, ...) const {
  va_list args;
  va_start(args, format);
  const std::string text = vformat(format, args);
  va_end(args);
  log(text);
}

void LineLogger::print(std::string_view text) const {
  std::fwrite(text.data(), 1, text.size(), printStream_);
  std::fflush(printStream_);
}

void LineLogger::printf(const char* format, ...) const {
  va_list args;
  va_start(args, format);
  const std::string text = vformat(format, args);
  va_end(args);
  print(text);
}

}  // namespace halvex
