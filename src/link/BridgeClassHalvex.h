#pragma once
// The bridge from the socket readers into the controllers.

#include <string>

#include "platform/ProcessControl.h"
#include "runtime/SerialQueue.h"

namespace halvex {

class HXNotifyController;

class BridgeClassHalvex {
 public:
  BridgeClassHalvex(SerialQueue& synchronizedNotification, ProcessControl& process);

  // On the reader thread: queues the request as a barrier block that first holds the queue, so
  // that no other block starts until the request's decision resumes it.
  void readRequest(const std::string& line);

  HXNotifyController* myHXNotifyController = nullptr;
  HXNotifyController* notifycontroller = nullptr;

 private:
  SerialQueue& queue_;
  ProcessControl& process_;
};

}  // namespace halvex
