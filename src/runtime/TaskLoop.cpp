#include "runtime/TaskLoop.h"

#include <future>

namespace halvex {

void TaskLoop::post(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  changed_.notify_all();
}

void TaskLoop::postAndWait(Task task) {
  if (isLoopThread()) {
    task();
    return;
  }
  std::promise<void> done;
  auto finished = done.get_future();
  post([&] {
    task();
    done.set_value();
  });
  finished.wait();
}

MainLoop::TimerId TaskLoop::scheduleTimer(Duration interval, bool repeats, Task task) {
  // The clock is read outside the lock: a loop's clock may take its own.
  const TimePoint start = now();
  TimerId id;
  {
    std::lock_guard lock(mutex_);
    id = timers_.add(start, interval, repeats, std::move(task));
    woken_ = true;
  }
  changed_.notify_all();
  return id;
}

void TaskLoop::cancelTimer(TimerId id) {
  std::lock_guard lock(mutex_);
  timers_.cancel(id);
}

std::size_t TaskLoop::pendingCount() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

std::size_t TaskLoop::timerCount() const {
  std::lock_guard lock(mutex_);
  return timers_.size();
}

std::optional<MainLoop::Task> TaskLoop::takePosted() {
  std::lock_guard lock(mutex_);
  if (tasks_.empty()) return std::nullopt;
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  return task;
}

std::optional<MainLoop::Task> TaskLoop::takeDueTimer(TimePoint now) {
  std::lock_guard lock(mutex_);
  return timers_.takeDue(now);
}

std::optional<TaskLoop::TimePoint> TaskLoop::nextTimerDue() const {
  std::lock_guard lock(mutex_);
  return timers_.nextDue();
}

bool TaskLoop::waitForWork(std::optional<TimePoint> deadline) {
  std::unique_lock lock(mutex_);
  auto ready = [this] { return !tasks_.empty() || woken_; };
  if (deadline) {
    changed_.wait_until(lock, *deadline, ready);
  } else {
    changed_.wait(lock, ready);
  }
  woken_ = false;
  return !tasks_.empty();
}

void TaskLoop::wake() {
  {
    std::lock_guard lock(mutex_);
    woken_ = true;
  }
  changed_.notify_all();
}

}  // namespace halvex
