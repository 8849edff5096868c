#include "fakes/ManualLoop.h"

#include <future>

namespace halvex::test {

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
  const auto target = now() + by;
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
}

bool ManualLoop::waitAndRun(std::chrono::milliseconds timeout) {
  if (!waitForPosted(timeout)) return false;
  runPending();
  return true;
}

bool ManualLoop::waitForPosted(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return posted_.wait_for(lock, timeout, [this] { return !tasks_.empty(); });
}

}  // namespace halvex::test
