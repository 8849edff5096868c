#pragma once
// The agent's own main loop for headless runs: posted tasks and timers served in real time by the
// thread that calls run().

#include <atomic>

#include "runtime/TaskLoop.h"

namespace halvex {

class AgentLoop final : public TaskLoop {
 public:
  std::chrono::steady_clock::time_point now() const override { return std::chrono::steady_clock::now(); }

  // Serves tasks and timers until quit(); returns the exit code given to quit().
  int run();
  // Callable from any thread, also before run(): run() then returns at once.
  void quit(int code = 0);

 private:
  std::atomic<bool> quitting_{false};
  std::atomic<int> exitCode_{0};
};

}  // namespace halvex
