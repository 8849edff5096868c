#include "fakes/ManualLoop.h"

#include <future>

namespace halvex::test {

ManualLoop::ManualLoop() : now_(std::chrono::steady_clock::time_point{} + std::chrono::hours(1)),
                           loopThread_(std::this_thread::get_id()) {}

void ManualLoop::post(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  posted_.notify_all();
}

void ManualLoop::postAndWait(Task task) {
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

MainLoop::TimerId ManualLoop::scheduleTimer(Duration interval, bool repeats, Task task) {
  std::lock_guard lock(mutex_);
  return timers_.add(now_, interval, repeats, std::move(task));
}

void ManualLoop::cancelTimer(TimerId id) {
  std::lock_guard lock(mutex_);
  timers_.cancel(id);
}

bool ManualLoop::isLoopThread() const { return std::this_thread::get_id() == loopThread_; }

std::chrono::steady_clock::time_point ManualLoop::now() const {
  std::lock_guard lock(mutex_);
  return now_;
}

std::size_t ManualLoop::runPending() {
  std::size_t ran = 0;
  for (;;) {
    Task task;
    {
      std::lock_guard lock(mutex_);
      if (tasks_.empty()) return ran;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
    ++ran;
  }
}

void ManualLoop::advance(Duration by) {
  std::chrono::steady_clock::time_point target;
  {
    std::lock_guard lock(mutex_);
    target = now_ + by;
  }
  runPending();
  for (;;) {
    std::optional<Task> due;
    {
      std::lock_guard lock(mutex_);
      auto next = timers_.nextDue();
      if (!next || *next > target) {
        now_ = target;
        break;
      }
      now_ = *next;
      due = timers_.takeDue(now_);
    }
    if (due) (*due)();
    runPending();
  }
  runPending();
}

bool ManualLoop::waitAndRun(std::chrono::milliseconds timeout) {
  {
    std::unique_lock lock(mutex_);
    if (!posted_.wait_for(lock, timeout, [this] { return !tasks_.empty(); })) return false;
  }
  runPending();
  return true;
}

bool ManualLoop::waitForPosted(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return posted_.wait_for(lock, timeout, [this] { return !tasks_.empty(); });
}

std::size_t ManualLoop::pendingCount() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

std::size_t ManualLoop::timerCount() const {
  std::lock_guard lock(mutex_);
  return timers_.size();
}

}  // namespace halvex::test
