#pragma once
// What every main loop shares: the queue of posted tasks, the timer table, which thread is the
// loop's, and waiting for work. A loop adds its clock and the way it is driven: AgentLoop serves
// tasks and timers in real time until quit; the tests' ManualLoop runs them when the test says,
// on virtual time.

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "runtime/MainLoop.h"
#include "runtime/TimerTable.h"

namespace halvex {

class TaskLoop : public MainLoop {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  void post(Task task) override;
  // From the loop's thread the task runs at once; from another it waits until the loop ran it.
  void postAndWait(Task task) override;
  TimerId scheduleTimer(Duration interval, bool repeats, Task task) override;
  void cancelTimer(TimerId id) override;
  bool isLoopThread() const override { return loopThread_.load() == std::this_thread::get_id(); }

  std::size_t pendingCount() const;
  std::size_t timerCount() const;

 protected:
  void setLoopThread(std::thread::id id) { loopThread_ = id; }
  // The oldest posted task, if any.
  std::optional<Task> takePosted();
  // The earliest timer due at or before `now`, rescheduled first if it repeats.
  std::optional<Task> takeDueTimer(TimePoint now);
  std::optional<TimePoint> nextTimerDue() const;
  // Waits until a task is posted, a timer is scheduled, wake() is called or `deadline` passes.
  // True when a posted task waits.
  bool waitForWork(std::optional<TimePoint> deadline);
  void wake();

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  TimerTable timers_;
  bool woken_ = false;
  std::atomic<std::thread::id> loopThread_{};
};

}  // namespace halvex
