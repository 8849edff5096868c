#pragma once
// A serial queue in the manner of a dispatch queue: blocks run one at a time in submission order
// on the queue's own worker thread. suspend() stops the next block from starting, never the
// running one; every suspend must be balanced by exactly one resume().

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace halvex {

class SerialQueue {
 public:
  using Task = std::function<void()>;

  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;
  // Lets the running block end and drops the blocks still waiting; nothing runs afterwards.
  // Whoever owns what the blocks use stops the queue before it lets that go.
  void stop();

  const std::string& label() const { return label_; }

  void async(Task task);
  // On a serial queue every block already runs alone; the barrier forms exist so that callers
  // say what they mean and keep that meaning if the queue ever becomes concurrent.
  void asyncBarrier(Task task) { async(std::move(task)); }
  // Runs the task on the queue and waits for it. Calling it from the queue's own thread would
  // wait for ever: that is a programming error and ends the process.
  void sync(Task task);
  void syncBarrier(Task task) { sync(std::move(task)); }

  void suspend();
  // Resuming more often than suspended is a programming error and ends the process.
  void resume();

  bool isCurrent() const;
  int suspendCount() const;
  std::size_t pendingCount() const;

 private:
  void work();

  const std::string label_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> tasks_;
  int suspended_ = 0;
  bool stopping_ = false;
  std::atomic<std::thread::id> workerId_{};
  std::thread worker_;
};

}  // namespace halvex
