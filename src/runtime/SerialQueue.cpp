#include "runtime/SerialQueue.h"

#include <cstdio>
#include <cstdlib>
#include <future>

namespace halvex {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), worker_([this] { work(); }) {}

SerialQueue::~SerialQueue() { stop(); }

void SerialQueue::stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (worker_.joinable() && !isCurrent()) worker_.join();
}

void SerialQueue::async(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_all();
}

void SerialQueue::sync(Task task) {
  if (isCurrent()) {
    std::fprintf(stderr, "SerialQueue %s: sync called from its own thread\n", label_.c_str());
    std::abort();
  }
  std::promise<void> done;
  auto finished = done.get_future();
  async([&] {
    task();
    done.set_value();
  });
  finished.wait();
}

void SerialQueue::suspend() {
  std::lock_guard lock(mutex_);
  ++suspended_;
}

void SerialQueue::resume() {
  {
    std::lock_guard lock(mutex_);
    if (suspended_ == 0) {
      std::fprintf(stderr, "SerialQueue %s: resumed more often than suspended\n", label_.c_str());
      std::abort();
    }
    --suspended_;
  }
  wake_.notify_all();
}

bool SerialQueue::isCurrent() const { return workerId_.load() == std::this_thread::get_id(); }

int SerialQueue::suspendCount() const {
  std::lock_guard lock(mutex_);
  return suspended_;
}

std::size_t SerialQueue::pendingCount() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

void SerialQueue::work() {
  workerId_ = std::this_thread::get_id();
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stopping_ || (suspended_ == 0 && !tasks_.empty()); });
    if (stopping_) return;
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace halvex
