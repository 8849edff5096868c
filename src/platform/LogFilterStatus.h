#pragma once
// Whether the part of the system that reports connections to the live log is running (the
// daemon on Linux). Only status views ask; nothing waits on the answer.

namespace halvex {

class LogFilterStatus {
 public:
  virtual ~LogFilterStatus() = default;
  // Blocks while it asks: call off the main loop.
  virtual bool isRunning() const = 0;
};

}  // namespace halvex
