#pragma once
// The distributed centre within one process: posts are recorded and delivered to observers on
// the given main loop, as the real centre does.

#include <atomic>
#include <map>
#include <mutex>
#include <vector>

#include "platform/DistributedNotificationCenter.h"
#include "runtime/MainLoop.h"

namespace halvex::test {

class FakeDistributedCenter final : public DistributedNotificationCenter {
 public:
  explicit FakeDistributedCenter(MainLoop& loop) : loop_(loop) {}
  // Off in benchmarks, whose thousands of posts would pile up.
  std::atomic<bool> recordPosts{true};

  void postNotificationName(const std::string& name, const std::string& object,
                            const std::optional<plist::Dictionary>& userInfo) override {
    DistributedNotification n{name, object, userInfo, kOwnSender};
    {
      std::lock_guard lock(mutex_);
      if (recordPosts) posted_.push_back(n);
    }
    deliverFrom(kOwnSender, std::move(n));
  }
  Token addObserver(const std::string& name, const std::string& object, Handler handler) override {
    std::lock_guard lock(mutex_);
    observers_[next_] = {{name, object}, std::move(handler)};
    return next_++;
  }
  std::string ownSender() const override { return kOwnSender; }
  static constexpr const char* kOwnSender = ":1.7";
  // Delivers a notification as another process on the bus would send it.
  void deliverFrom(const std::string& sender, DistributedNotification n) {
    n.sender = sender;
    std::vector<Handler> targets;
    {
      std::lock_guard lock(mutex_);
      for (const auto& [token, o] : observers_)
        if (o.first.first == n.name && (o.first.second.empty() || o.first.second == n.object))
          targets.push_back(o.second);
    }
    for (auto& handler : targets) loop_.post([handler, n] { handler(n); });
  }
  void removeObserver(Token token) override {
    std::lock_guard lock(mutex_);
    observers_.erase(token);
  }

  // Everything posted, or what was posted under `name`.
  std::vector<DistributedNotification> posted(const std::string& name = {}) const {
    std::lock_guard lock(mutex_);
    std::vector<DistributedNotification> found;
    for (const auto& n : posted_)
      if (name.empty() || n.name == name) found.push_back(n);
    return found;
  }
  std::vector<std::string> postedNames() const {
    std::vector<std::string> names;
    for (const auto& n : posted()) names.push_back(n.name);
    return names;
  }

 private:
  MainLoop& loop_;
  mutable std::mutex mutex_;
  std::vector<DistributedNotification> posted_;
  std::map<Token, std::pair<std::pair<std::string, std::string>, Handler>> observers_;
  Token next_ = 1;
};

}  // namespace halvex::test
