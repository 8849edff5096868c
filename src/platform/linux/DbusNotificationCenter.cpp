#include "platform/linux/DbusNotificationCenter.h"

#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <variant>

#include "platform/NotificationBusNames.h"
#include "runtime/PlistIO.h"

namespace halvex {

namespace {

// A bus that accepts connections but never answers would otherwise hold the agent's start for as
// long as the bus library's own handshake timeout (a minute and a half).
constexpr std::chrono::seconds kBusTimeout{2};

// Zero when the bus answers a ping within the bound, a negative errno otherwise. The ping is
// sent asynchronously and the connection driven by hand: a blocking call would first wait for the
// handshake without the bound.
int answersInTime(sd_bus* bus) {
  // Any reply, an error reply included, shows a bus that answers.
  bool answered = false;
  auto onReply = [](sd_bus_message*, void* userdata, sd_bus_error*) -> int {
    *static_cast<bool*>(userdata) = true;
    return 0;
  };
  sd_bus_slot* slot = nullptr;
  int r = sd_bus_call_method_async(bus, &slot, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus.Peer", "Ping", onReply, &answered, "");
  if (r < 0) return r;
  const auto deadline = std::chrono::steady_clock::now() + kBusTimeout;
  while (!answered) {
    r = sd_bus_process(bus, nullptr);
    if (r < 0) break;
    if (r > 0) continue;  // more may be ready at once
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      r = -ETIMEDOUT;
      break;
    }
    r = sd_bus_wait(bus, static_cast<std::uint64_t>(left.count()));
    if (r < 0) break;
  }
  sd_bus_slot_unref(slot);
  return answered ? 0 : r;
}

}  // namespace

DbusNotificationCenter::DbusNotificationCenter(MainLoop& mainLoop, const LineLogger& logger)
    : mainLoop_(mainLoop), logger_(logger) {
  int r = sd_bus_open_system(&sender_);
  if (r >= 0) r = answersInTime(sender_);
  if (r < 0) {
    if (sender_) sd_bus_close_unref(sender_);
    sender_ = nullptr;
    logger_.logf("[HALVEX AGENT] no notification bus (%s): notifications are not sent", strerror(-r));
    return;
  }
  const char* unique = nullptr;
  if (sd_bus_get_unique_name(sender_, &unique) >= 0 && unique) ownName_ = unique;
  try {
    // The bus has just answered, so this connection's handshake (which waits without a bound of
    // its own) has a live peer.
    receiver_ = sdbus::createSystemBusConnection();
    receiver_->setMethodCallTimeout(kBusTimeout);
    const std::string rule = std::string("type='signal',interface='") + notificationbus::kInterface + "',path='" +
                             notificationbus::kObjectPath + "'";
    receiver_->addMatch(
        rule,
        [this](sdbus::Message& message) {
          auto name = notificationbus::nameForMember(message.getMemberName());
          if (!name) return;
          DistributedNotification notification;
          notification.name = *name;
          notification.sender = message.getSender();
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
  int r = sd_bus_emit_signal(sender_, notificationbus::kObjectPath, notificationbus::kInterface, member.c_str(), "ss",
                             object.c_str(), userInfoText.c_str());
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
