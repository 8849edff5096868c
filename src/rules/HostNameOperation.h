#pragma once
// A queued reverse look-up: made ready, started by whoever queues it (on a worker thread), and
// cancellable at any time. It runs at most once.

#include <atomic>
#include <functional>
#include <string>

namespace halvex {

class HostNames;

class HostNameOperation {
 public:
  // Called on the worker thread with the first name found, only when some name was found and
  // the operation was not cancelled before the look-up ended.
  using Completion = std::function<void(const std::string& firstName)>;

  HostNameOperation(std::string address, const HostNames& hostNames, Completion completion);

  // Runs the look-up on the calling thread. Does nothing when cancelled or already started.
  void start();
  void cancel() { cancelled_ = true; }
  bool isCancelled() const { return cancelled_; }
  bool isExecuting() const { return state_ == State::executing; }
  bool isFinished() const { return state_ == State::finished; }
  const std::string& address() const { return address_; }

 private:
  enum class State { ready, executing, finished };

  const std::string address_;
  const HostNames& hostNames_;
  Completion completion_;
  std::atomic<State> state_{State::ready};
  std::atomic<bool> cancelled_{false};
};

}  // namespace halvex
