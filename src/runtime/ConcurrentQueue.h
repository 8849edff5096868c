#pragma once
// A concurrent queue: blocks start in submission order and run side by side. Threads are added
// while every worker is busy, so a block that blocks for the life of the process (a socket
// reader) never starves the others. Idle workers wait for more work and end with the queue. A
// queue given a bound on its threads (for work that would swamp the machine if run all at once)
// never grows past it: its blocks must all come to an end.

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace halvex {

class ConcurrentQueue {
 public:
  using Task = std::function<void()>;

  explicit ConcurrentQueue(std::string label, std::size_t maxThreads = SIZE_MAX);
  // Waits for the running blocks: whoever starts a block that never ends must end it first.
  ~ConcurrentQueue();
  // Runs what was queued, then ends the workers; later blocks are dropped. Whoever owns what the
  // blocks use stops the queue before it lets that go.
  void stop();
  ConcurrentQueue(const ConcurrentQueue&) = delete;
  ConcurrentQueue& operator=(const ConcurrentQueue&) = delete;

  const std::string& label() const { return label_; }
  void async(Task task);
  std::size_t threadCount() const;

 private:
  void work();

  const std::string label_;
  const std::size_t maxThreads_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> tasks_;
  std::vector<std::thread> workers_;
  std::size_t idle_ = 0;
  std::size_t starting_ = 0;  // made, not yet waiting for work
  bool stopping_ = false;
};

}  // namespace halvex
