#pragma once
// Runs the request reader on the recvDaemonQueue.

#include <memory>

#include "link/managesocketagent.h"
#include "runtime/ConcurrentQueue.h"

namespace halvex {

class StartSocket {
 public:
  StartSocket(std::shared_ptr<managesocketagent> channel, ConcurrentQueue& recvDaemonQueue)
      : mymanagesocketagent(std::move(channel)), queue_(recvDaemonQueue) {}

  void start() {
    auto channel = mymanagesocketagent;
    queue_.async([channel] { channel->openandreadsocketagent(); });
  }

  std::shared_ptr<managesocketagent> mymanagesocketagent;

 private:
  ConcurrentQueue& queue_;
};

}  // namespace halvex
