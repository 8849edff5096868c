#pragma once
// Runs the request reader on the recvDaemonQueue.

#include "link/managesocketagent.h"
#include "runtime/ConcurrentQueue.h"

namespace halvex {

class StartSocket {
 public:
  StartSocket(managesocketagent& channel, ConcurrentQueue& recvDaemonQueue)
      : mymanagesocketagent(channel), queue_(recvDaemonQueue) {}

  void start() {
    queue_.async([this] { mymanagesocketagent.openandreadsocketagent(); });
  }

  managesocketagent& mymanagesocketagent;

 private:
  ConcurrentQueue& queue_;
};

}  // namespace halvex
