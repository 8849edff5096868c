#pragma once
// The in-process notification centre: observers by name, delivered synchronously on the posting
// thread in the order they were added. An observer may remove itself or others while a post is
// under way; a removed observer is not called again.

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/Plist.h"

namespace halvex {

struct Notification {
  std::string name;
  std::any object;
  plist::Dictionary userInfo;
};

class NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;
  using Token = std::uint64_t;

  Token addObserver(std::string name, Handler handler);
  void removeObserver(Token token);
  void post(const Notification& notification);
  void post(std::string name, plist::Dictionary userInfo = {}, std::any object = {});
  std::size_t observerCount(const std::string& name) const;

 private:
  struct Observer {
    Token token;
    std::string name;
    std::shared_ptr<Handler> handler;
  };
  mutable std::mutex mutex_;
  std::vector<Observer> observers_;
  Token nextToken_ = 1;
};

}  // namespace halvex
