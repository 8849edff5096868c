#pragma once
// The bridge from the request reader into the synchronised queue.

#include <functional>
#include <string>

#include "runtime/SerialQueue.h"

namespace halvex {

class BridgeClassHalvex {
 public:
  // `addRequest` is the intake: it runs on the synchronised queue, which it finds suspended, and
  // every ending of the request resumes it.
  using Intake = std::function<void(const std::string& line)>;

  BridgeClassHalvex(SerialQueue& synchronizedNotification, Intake addRequest);

  // On the reader thread: queues the request as a barrier block that first holds the queue, so
  // that no other block starts until the request's decision resumes it.
  void readRequest(const std::string& line);

 private:
  SerialQueue& queue_;
  Intake addRequest_;
};

}  // namespace halvex
