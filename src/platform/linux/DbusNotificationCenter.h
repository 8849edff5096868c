#pragma once
// The distributed notification centre on the system bus (the bus named by
// DBUS_SYSTEM_BUS_ADDRESS, so tests run a private one). Posting uses its own sd-bus connection,
// flushed at once; observing uses an sdbus-c++ connection with its event loop on a thread of its
// own, and every observer is called on the main loop. Without a bus the agent goes on: posts are
// dropped with one logged line, and nothing is observed.

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/DistributedNotificationCenter.h"
#include "runtime/LineLogger.h"
#include "runtime/MainLoop.h"

struct sd_bus;

namespace sdbus {
class IConnection;
}  // namespace sdbus

namespace halvex {

class DbusNotificationCenter final : public DistributedNotificationCenter {
 public:
  DbusNotificationCenter(MainLoop& mainLoop, const LineLogger& logger);
  ~DbusNotificationCenter() override;

  void postNotificationName(const std::string& name, const std::string& object,
                            const std::optional<plist::Dictionary>& userInfo) override;
  Token addObserver(const std::string& name, const std::string& object, Handler handler) override;
  void removeObserver(Token token) override;
  std::string ownSender() const override { return ownName_; }

  bool connected() const { return sender_ != nullptr; }

 private:
  struct Observer {
    std::string name;
    std::string object;
    std::shared_ptr<Handler> handler;
  };
  void deliver(const DistributedNotification& notification);

  MainLoop& mainLoop_;
  const LineLogger& logger_;
  std::mutex sendMutex_;
  sd_bus* sender_ = nullptr;
  std::string ownName_;
  std::unique_ptr<sdbus::IConnection> receiver_;
  std::mutex observersMutex_;
  std::map<Token, Observer> observers_;
  Token nextToken_ = 1;
  bool warned_ = false;
  // Alive while the centre is: a delivery posted to the main loop checks it first.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace halvex
