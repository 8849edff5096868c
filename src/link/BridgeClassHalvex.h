#pragma once
// The bridge from the two readers onwards: a request line into the synchronised queue, a
// connection line onto the distributed centre.

#include <functional>
#include <string>

#include "platform/DistributedNotificationCenter.h"
#include "runtime/SerialQueue.h"

namespace halvex {

class BridgeClassHalvex {
 public:
  // `addRequest` is the intake: it runs on the synchronised queue, which it finds suspended, and
  // every ending of the request resumes it.
  using Intake = std::function<void(const std::string& line)>;

  BridgeClassHalvex(SerialQueue& synchronizedNotification, Intake addRequest,
                    DistributedNotificationCenter& distributedCenter);

  // On the reader thread: queues the request as a barrier block that first holds the queue, so
  // that no other block starts until the request's decision resumes it.
  void readRequest(const std::string& line);
  // On the event reader's thread: posts the connection line, unparsed, as the one value of the
  // notification's user info; its observers parse it on the main loop.
  void readConnections(const std::string& line);

 private:
  SerialQueue& queue_;
  Intake addRequest_;
  DistributedNotificationCenter& distributedCenter_;
};

}  // namespace halvex
