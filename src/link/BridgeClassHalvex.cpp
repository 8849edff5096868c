#include "link/BridgeClassHalvex.h"

#include "link/ConnectionEvents.h"

namespace halvex {

BridgeClassHalvex::BridgeClassHalvex(SerialQueue& synchronizedNotification, Intake addRequest,
                                     DistributedNotificationCenter& distributedCenter)
    : queue_(synchronizedNotification), addRequest_(std::move(addRequest)), distributedCenter_(distributedCenter) {}

void BridgeClassHalvex::readRequest(const std::string& line) {
  queue_.asyncBarrier([this, line] {
    queue_.suspend();
    addRequest_(line);
  });
}

void BridgeClassHalvex::readConnections(const std::string& line) {
  using namespace connectionevents;
  distributedCenter_.postNotificationName(kHalvexConnections, kHalvexConnectionsObject,
                                          plist::Dictionary{{kConnectionsKey, line}});
}

}  // namespace halvex
