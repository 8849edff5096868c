#pragma once
// The machine's users as a test sets them.

#include <mutex>
#include <vector>

#include "platform/SystemUsers.h"

namespace halvex::test {

class FakeSystemUsers final : public SystemUsers {
 public:
  void set(std::vector<SystemUser> users) {
    std::lock_guard lock(mutex_);
    users_ = std::move(users);
  }
  std::vector<SystemUser> systemUsers() const override {
    std::lock_guard lock(mutex_);
    return users_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<SystemUser> users_;
};

}  // namespace halvex::test
