#include "runtime/AgentLoop.h"

#include <future>

namespace halvex {

void AgentLoop::post(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
}

void AgentLoop::postAndWait(Task task) {
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

MainLoop::TimerId AgentLoop::scheduleTimer(Duration interval, bool repeats, Task task) {
  TimerId id;
  {
    std::lock_guard lock(mutex_);
    id = timers_.add(now(), interval, repeats, std::move(task));
  }
  wake_.notify_one();
  return id;
}

void AgentLoop::cancelTimer(TimerId id) {
  std::lock_guard lock(mutex_);
  timers_.cancel(id);
}

bool AgentLoop::isLoopThread() const { return loopThread_.load() == std::this_thread::get_id(); }

std::chrono::steady_clock::time_point AgentLoop::now() const { return std::chrono::steady_clock::now(); }

int AgentLoop::run() {
  loopThread_ = std::this_thread::get_id();
  std::unique_lock lock(mutex_);
  while (!quitting_) {
    if (!tasks_.empty()) {
      Task task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      task();
      lock.lock();
      continue;
    }
    if (auto timerTask = timers_.takeDue(now())) {
      lock.unlock();
      (*timerTask)();
      lock.lock();
      continue;
    }
    if (auto due = timers_.nextDue()) {
      wake_.wait_until(lock, *due);
    } else {
      wake_.wait(lock);
    }
  }
  loopThread_ = std::thread::id{};
  return exitCode_;
}

void AgentLoop::quit(int code) {
  {
    std::lock_guard lock(mutex_);
    quitting_ = true;
    exitCode_ = code;
  }
  wake_.notify_all();
}

}  // namespace halvex
