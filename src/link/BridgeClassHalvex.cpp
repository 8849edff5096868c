#include "link/BridgeClassHalvex.h"

#include "link/HXNotifyController.h"

namespace halvex {

BridgeClassHalvex::BridgeClassHalvex(SerialQueue& synchronizedNotification, ProcessControl& process)
    : queue_(synchronizedNotification), process_(process) {}

void BridgeClassHalvex::readRequest(const std::string& line) {
  queue_.asyncBarrier([this, line] {
    queue_.suspend();
    if (!myHXNotifyController) process_.fatal("BridgeClassHalvex: no notify controller");
    myHXNotifyController->addRequest(line);
  });
}

}  // namespace halvex
