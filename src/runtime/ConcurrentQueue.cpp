#include "runtime/ConcurrentQueue.h"

namespace halvex {

ConcurrentQueue::ConcurrentQueue(std::string label, std::size_t maxThreads)
    : label_(std::move(label)), maxThreads_(maxThreads == 0 ? 1 : maxThreads) {}

ConcurrentQueue::~ConcurrentQueue() { stop(); }

void ConcurrentQueue::stop() {
  std::vector<std::thread> workers;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    workers.swap(workers_);
  }
  wake_.notify_all();
  for (auto& worker : workers) worker.join();
}

void ConcurrentQueue::async(Task task) {
  std::lock_guard lock(mutex_);
  if (stopping_) return;
  tasks_.push_back(std::move(task));
  if (idle_ + starting_ < tasks_.size() && workers_.size() < maxThreads_) {
    ++starting_;
    workers_.emplace_back([this] { work(); });
  } else {
    wake_.notify_one();
  }
}

std::size_t ConcurrentQueue::threadCount() const {
  std::lock_guard lock(mutex_);
  return workers_.size();
}

void ConcurrentQueue::work() {
  std::unique_lock lock(mutex_);
  --starting_;
  for (;;) {
    ++idle_;
    wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
    --idle_;
    // Work queued before the end still runs, so nothing handed over is silently lost.
    if (tasks_.empty()) return;
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace halvex
