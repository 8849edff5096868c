#include "link/BridgeClassHalvex.h"

namespace halvex {

BridgeClassHalvex::BridgeClassHalvex(SerialQueue& synchronizedNotification, Intake addRequest)
    : queue_(synchronizedNotification), addRequest_(std::move(addRequest)) {}

void BridgeClassHalvex::readRequest(const std::string& line) {
  queue_.asyncBarrier([this, line] {
    queue_.suspend();
    addRequest_(line);
  });
}

}  // namespace halvex
