#include "platform/linux/DbusNotificationCenter.h"

#include <systemd/sd-bus.h>

#include <sdbus-c++/sdbus-c++.h>

#include <variant>

#include "platform/NotificationBusNames.h"
#include "runtime/PlistIO.h"

namespace halvex {

DbusNotificationCenter::DbusNotificationCenter(MainLoop& mainLoop, const LineLogger& logger)
    : mainLoop_(mainLoop), logger_(logger) {
  const int r = sd_bus_open_system(&sender_);
  if (r < 0) {
    sender_ = nullptr;
    logger_.logf("[HALVEX AGENT] no notification bus (%s): notifications are not sent", strerror(-r));
    return;
  }
  try {
    receiver_ = sdbus::createSystemBusConnection();
    const std::string rule = std::string("type='signal',interface='") + notificationbus::kInterface + "',path='" +
                             notificationbus::kObjectPath + "'";
    receiver_->addMatch(
        rule,
        [this](sdbus::Message& message) {
          auto name = notificationbus::nameForMember(message.getMemberName());
          if (!name) return;
          DistributedNotification notification;
          notification.name = *name;
          std::string userInfoText;
          try {
            message >> notification.object >> userInfoText;
          } catch (const sdbus::Error&) {
            return;  // not of our form: ignored like any foreign signal
          }
          if (!userInfoText.empty()) {
            auto parsed = plist::parse(userInfoText);
            if (auto* value = std::get_if<plist::Value>(&parsed)) {
              if (auto* dict = value->asDictionary()) notification.userInfo = *dict;
            }
          }
          deliver(notification);
        },
        sdbus::floating_slot);
    receiver_->enterEventLoopAsync();
  } catch (const sdbus::Error& e) {
    logger_.logf("[HALVEX AGENT] cannot observe the notification bus: %s", e.what());
    receiver_.reset();
  }
}

DbusNotificationCenter::~DbusNotificationCenter() {
  *alive_ = false;
  if (receiver_) receiver_->leaveEventLoop();
  receiver_.reset();
  if (sender_) sd_bus_flush_close_unref(sender_);
}

void DbusNotificationCenter::postNotificationName(const std::string& name, const std::string& object,
                                                  const std::optional<plist::Dictionary>& userInfo) {
  std::lock_guard lock(sendMutex_);
  if (!sender_) {
    if (!warned_) logger_.logf("[HALVEX AGENT] notification %s not sent: no bus", name.c_str());
    warned_ = true;
    return;
  }
  const std::string userInfoText = userInfo ? plist::toXml(plist::Value(*userInfo)) : std::string();
  const std::string member = notificationbus::memberForName(name);
  int r = sd_bus_emit_signal(sender_, notificationbus::kObjectPath, notificationbus::kInterface, member.c_str(),
                             "ss", object.c_str(), userInfoText.c_str());
  if (r >= 0) r = sd_bus_flush(sender_);
  if (r < 0) logger_.logf("[HALVEX AGENT] notification %s not sent: %s", name.c_str(), strerror(-r));
}

DistributedNotificationCenter::Token DbusNotificationCenter::addObserver(const std::string& name,
                                                                         const std::string& object, Handler handler) {
  std::lock_guard lock(observersMutex_);
  const Token token = nextToken_++;
  observers_.emplace(token, Observer{name, object, std::make_shared<Handler>(std::move(handler))});
  return token;
}

void DbusNotificationCenter::removeObserver(Token token) {
  std::lock_guard lock(observersMutex_);
  observers_.erase(token);
}

void DbusNotificationCenter::deliver(const DistributedNotification& notification) {
  std::vector<std::shared_ptr<Handler>> targets;
  {
    std::lock_guard lock(observersMutex_);
    for (const auto& [token, o] : observers_)
      if (o.name == notification.name && (o.object.empty() || o.object == notification.object))
        targets.push_back(o.handler);
  }
  if (targets.empty()) return;
  std::weak_ptr<bool> alive = alive_;
  mainLoop_.post([alive, targets, notification] {
    if (alive.expired()) return;
    for (const auto& handler : targets) (*handler)(notification);
  });
}

}  // namespace halvex
