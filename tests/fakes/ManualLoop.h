#pragma once
// A main loop with virtual time for tests: nothing runs until the test says so, and time moves
// only when the test advances it, so a 60-second expiry is tested in microseconds.

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "runtime/MainLoop.h"
#include "runtime/TimerTable.h"

namespace halvex::test {

class ManualLoop final : public MainLoop {
 public:
  void post(Task task) override;
  // From the loop thread the task runs at once; from another thread it waits until the test
  // thread runs the posted tasks (runPending, or waitAndRun).
  void postAndWait(Task task) override;
  TimerId scheduleTimer(Duration interval, bool repeats, Task task) override {
    std::lock_guard lock(mutex_);
    return timers_.add(now_, interval, repeats, std::move(task));
  }
  void cancelTimer(TimerId id) override {
    std::lock_guard lock(mutex_);
    timers_.cancel(id);
  }
  bool isLoopThread() const override { return std::this_thread::get_id() == loopThread_; }
  std::chrono::steady_clock::time_point now() const override {
    std::lock_guard lock(mutex_);
    return now_;
  }

  // Runs posted tasks (including those they post) until none is left; returns how many ran.
  std::size_t runPending();
  // Moves virtual time forward, firing due timers in time order and running posted tasks.
  void advance(Duration by);
  // Waits (in real time, up to `timeout`) for a task to be posted from another thread, then runs
  // everything pending. Returns false if nothing came.
  bool waitAndRun(std::chrono::milliseconds timeout = std::chrono::milliseconds(5000));
  // Waits until a task is pending, without running it.
  bool waitForPosted(std::chrono::milliseconds timeout = std::chrono::milliseconds(5000));
  std::size_t pendingCount() const {
    std::lock_guard lock(mutex_);
    return tasks_.size();
  }
  std::size_t timerCount() const {
    std::lock_guard lock(mutex_);
    return timers_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<Task> tasks_;
  TimerTable timers_;
  std::chrono::steady_clock::time_point now_ = std::chrono::steady_clock::time_point{} + std::chrono::hours(1);
  std::thread::id loopThread_ = std::this_thread::get_id();  // the thread that built the loop
};

}  // namespace halvex::test
