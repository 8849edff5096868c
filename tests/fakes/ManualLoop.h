#pragma once
// A main loop with virtual time for tests: nothing runs until the test says so, and time moves
// only when the test advances it, so a 60-second expiry is tested in microseconds. The thread that
// builds it is the loop's thread.

#include <mutex>

#include "runtime/TaskLoop.h"

namespace halvex::test {

class ManualLoop final : public TaskLoop {
 public:
  ManualLoop() { setLoopThread(std::this_thread::get_id()); }

  std::chrono::steady_clock::time_point now() const override {
    std::lock_guard lock(clock_);
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

 private:
  mutable std::mutex clock_;
  TimePoint now_ = TimePoint{} + std::chrono::hours(1);
};

}  // namespace halvex::test
