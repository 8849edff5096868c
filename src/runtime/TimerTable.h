#pragma once
// The bookkeeping of one-shot and repeating timers that every main loop shares: which timer is
// due next, and rescheduling a repeating one after it fired. Not thread-safe: its owner locks.

#include <chrono>
#include <map>
#include <optional>

#include "runtime/MainLoop.h"

namespace halvex {

class TimerTable {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  MainLoop::TimerId add(TimePoint now, MainLoop::Duration interval, bool repeats, MainLoop::Task task);
  void cancel(MainLoop::TimerId id);
  std::optional<TimePoint> nextDue() const;
  // Takes out the earliest timer due at or before `now`, rescheduling it if it repeats. The
  // returned task is a copy, so a timer that cancels itself while running is safe.
  std::optional<MainLoop::Task> takeDue(TimePoint now);
  bool empty() const { return timers_.empty(); }
  std::size_t size() const { return timers_.size(); }

 private:
  struct Timer {
    TimePoint due;
    MainLoop::Duration interval;
    bool repeats;
    MainLoop::Task task;
  };
  MainLoop::TimerId nextId_ = 1;
  std::map<MainLoop::TimerId, Timer> timers_;
};

}  // namespace halvex
