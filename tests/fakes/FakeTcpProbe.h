#pragma once
// A reachability probe whose answer the test sets; it records what was asked.

#include <atomic>
#include <mutex>

#include "platform/TcpProbe.h"

namespace halvex::test {

class FakeTcpProbe final : public TcpProbe {
 public:
  std::atomic<bool> reachable{false};
  bool canConnect(const std::string& host, std::uint16_t, std::chrono::milliseconds timeout) override {
    std::lock_guard lock(mutex_);
    lastHost_ = host;
    lastTimeout_ = timeout;
    return reachable.load();
  }
  std::string lastHost() const {
    std::lock_guard lock(mutex_);
    return lastHost_;
  }
  std::chrono::milliseconds lastTimeout() const {
    std::lock_guard lock(mutex_);
    return lastTimeout_;
  }

 private:
  mutable std::mutex mutex_;
  std::string lastHost_;
  std::chrono::milliseconds lastTimeout_{0};
};

}  // namespace halvex::test
