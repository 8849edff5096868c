#pragma once
// Reverse names from a table.

#include <map>
#include <mutex>

#include "platform/HostNames.h"

namespace halvex::test {

class FakeHostNames final : public HostNames {
 public:
  void set(const std::string& address, std::vector<std::string> names) {
    std::lock_guard lock(mutex_);
    names_[address] = std::move(names);
  }
  std::vector<std::string> namesForAddress(const std::string& address) const override {
    std::lock_guard lock(mutex_);
    const auto it = names_.find(address);
    return it == names_.end() ? std::vector<std::string>{} : it->second;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::vector<std::string>> names_;
};

}  // namespace halvex::test
