#pragma once
// The main loop port: the one thread on which views, timers, alerts and library changes live.
// Two implementations exist: AgentLoop (the headless agent) and, among the tests' fakes, a manual
// loop with virtual time. The Qt front end is to bring a third.

#include <chrono>
#include <cstdint>
#include <functional>

namespace halvex {

class MainLoop {
 public:
  using Task = std::function<void()>;
  using TimerId = std::uint64_t;
  using Duration = std::chrono::nanoseconds;

  virtual ~MainLoop() = default;

  // Runs the task on the loop thread, later, in posting order.
  virtual void post(Task task) = 0;
  // Runs the task on the loop thread and returns once it has run. Called on the loop thread
  // itself, the task runs at once (there is no other way it could ever run).
  virtual void postAndWait(Task task) = 0;
  // One-shot or repeating timer on the loop thread. The id is never 0.
  virtual TimerId scheduleTimer(Duration interval, bool repeats, Task task) = 0;
  // Cancelling an unknown or fired one-shot timer does nothing.
  virtual void cancelTimer(TimerId id) = 0;
  virtual bool isLoopThread() const = 0;
  // The loop's clock: steady time for real loops, virtual time for the manual one.
  virtual std::chrono::steady_clock::time_point now() const = 0;
};

}  // namespace halvex
