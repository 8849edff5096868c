#pragma once
// Runs the request reader on the recvDaemonQueue.

#include "link/managesocketagent.h"
#include "runtime/ConcurrentQueue.h"

namespace halvex {

class StartSocket {
 public:
  StartSocket(managesocketagent& channel, ConcurrentQueue& recvDaemonQueue)
      : mymanagesocketagent(channel), queue_(recvDaemonQueue) {}

  // Binds at once, so that whoever hears the agent announce itself finds the socket; reads on
  // the queue.
  void start() {
    mymanagesocketagent.opensocketagent();
    queue_.async([this] { mymanagesocketagent.readsocketagent(); });
  }

  managesocketagent& mymanagesocketagent;

 private:
  ConcurrentQueue& queue_;
};

}  // namespace halvex
