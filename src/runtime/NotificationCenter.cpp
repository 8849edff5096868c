#include "runtime/NotificationCenter.h"

#include <algorithm>

namespace halvex {

NotificationCenter::Token NotificationCenter::addObserver(std::string name, Handler handler) {
  std::lock_guard lock(mutex_);
  const Token token = nextToken_++;
  observers_.push_back({token, std::move(name), std::make_shared<Handler>(std::move(handler))});
  return token;
}

void NotificationCenter::removeObserver(Token token) {
  std::lock_guard lock(mutex_);
  std::erase_if(observers_, [token](const Observer& o) { return o.token == token; });
}

void NotificationCenter::post(const Notification& notification) {
  std::vector<std::pair<Token, std::shared_ptr<Handler>>> targets;
  {
    std::lock_guard lock(mutex_);
    for (const auto& o : observers_)
      if (o.name == notification.name) targets.emplace_back(o.token, o.handler);
  }
  // Handlers run without the lock, so they may post and add or remove observers themselves.
  for (const auto& [token, handler] : targets) {
    {
      std::lock_guard lock(mutex_);
      const bool stillThere = std::any_of(observers_.begin(), observers_.end(),
                                          [token = token](const Observer& o) { return o.token == token; });
      if (!stillThere) continue;
    }
    (*handler)(notification);
  }
}

void NotificationCenter::post(std::string name, plist::Dictionary userInfo, std::any object) {
  post(Notification{std::move(name), std::move(object), std::move(userInfo)});
}

std::size_t NotificationCenter::observerCount(const std::string& name) const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(observers_.begin(), observers_.end(), [&](const Observer& o) { return o.name == name; }));
}

}  // namespace halvex
