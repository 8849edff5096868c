#pragma once
// The distributed notification centre: notifications that reach every process of every session
// that listens (the daemon, the companion firewall, other agents). A notification has a name and
// a string object that works as a second name; some carry a property-list dictionary. Observers
// are called on the main loop.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "runtime/Plist.h"

namespace halvex {

struct DistributedNotification {
  std::string name;
  std::string object;
  std::optional<plist::Dictionary> userInfo;  // absent and empty are different things
  // The bus connection that posted it (its unique name); empty where the carrier cannot tell.
  std::string sender;
};

class DistributedNotificationCenter {
 public:
  using Handler = std::function<void(const DistributedNotification&)>;
  using Token = std::uint64_t;

  virtual ~DistributedNotificationCenter() = default;
  virtual void postNotificationName(const std::string& name, const std::string& object,
                                    const std::optional<plist::Dictionary>& userInfo) = 0;
  // An empty `object` observes the name whatever the object.
  virtual Token addObserver(const std::string& name, const std::string& object, Handler handler) = 0;
  virtual void removeObserver(Token token) = 0;
  // The unique name this centre's posts carry, so that an observer can tell the agent's own
  // notifications from anyone else's; empty without a carrier.
  virtual std::string ownSender() const = 0;
};

}  // namespace halvex
