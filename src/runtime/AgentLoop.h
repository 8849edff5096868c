#pragma once
// The agent's own main loop for headless runs: a task queue and timers served by the thread that
// calls run().

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "runtime/MainLoop.h"
#include "runtime/TimerTable.h"

namespace halvex {

class AgentLoop final : public MainLoop {
 public:
  void post(Task task) override;
  void postAndWait(Task task) override;
  TimerId scheduleTimer(Duration interval, bool repeats, Task task) override;
  void cancelTimer(TimerId id) override;
  bool isLoopThread() const override;
  std::chrono::steady_clock::time_point now() const override;

  // Serves tasks and timers until quit(); returns the exit code given to quit().
  int run();
  // Callable from any thread, also before run(): run() then returns at once.
  void quit(int code = 0);

 private:
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> tasks_;
  TimerTable timers_;
  bool quitting_ = false;
  int exitCode_ = 0;
  std::atomic<std::thread::id> loopThread_{};
};

}  // namespace halvex
