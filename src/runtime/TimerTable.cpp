#include "runtime/TimerTable.h"

#include <algorithm>

namespace halvex {

MainLoop::TimerId TimerTable::add(TimePoint now, MainLoop::Duration interval, bool repeats, MainLoop::Task task) {
  // A repeating timer with no interval would spin the loop for ever.
  if (repeats && interval <= MainLoop::Duration::zero()) interval = std::chrono::milliseconds(1);
  const auto id = nextId_++;
  timers_.emplace(id, Timer{now + interval, interval, repeats, std::move(task)});
  return id;
}

void TimerTable::cancel(MainLoop::TimerId id) { timers_.erase(id); }

std::optional<TimerTable::TimePoint> TimerTable::nextDue() const {
  if (timers_.empty()) return std::nullopt;
  auto it = std::min_element(timers_.begin(), timers_.end(),
                             [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
  return it->second.due;
}

std::optional<MainLoop::Task> TimerTable::takeDue(TimePoint now) {
  // Earliest due first; equal times fire in the order they were scheduled (ids grow).
  auto best = timers_.end();
  for (auto it = timers_.begin(); it != timers_.end(); ++it) {
    if (it->second.due <= now && (best == timers_.end() || it->second.due < best->second.due)) best = it;
  }
  if (best == timers_.end()) return std::nullopt;
  MainLoop::Task task = best->second.task;
  if (best->second.repeats) {
    best->second.due += best->second.interval;
  } else {
    timers_.erase(best);
  }
  return task;
}

}  // namespace halvex
