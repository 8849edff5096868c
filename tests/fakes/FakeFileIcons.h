#pragma once
// File icons from a table; a file not in the table gets "text-x-generic".

#include <map>
#include <mutex>

#include "platform/FileIcons.h"

namespace halvex::test {

class FakeFileIcons final : public FileIcons {
 public:
  void set(const std::string& path, std::string iconName) {
    std::lock_guard lock(mutex_);
    icons_[path] = std::move(iconName);
  }
  std::string iconNameForFile(const std::string& path) const override {
    std::lock_guard lock(mutex_);
    const auto it = icons_.find(path);
    return it == icons_.end() ? "text-x-generic" : it->second;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string> icons_;
};

}  // namespace halvex::test
