#pragma once
// Signature reports set per path and query; a path with nothing set is "not signed".

#include <map>
#include <mutex>
#include <utility>

#include "platform/CodeSignatures.h"

namespace halvex::test {

class FakeCodeSignatures final : public CodeSignatures {
 public:
  void set(const std::string& path, SignatureQuery query, std::string report) {
    std::lock_guard lock(mutex_);
    reports_[{path, query}] = std::move(report);
  }
  std::string inspect(const std::string& path, SignatureQuery query) override {
    std::lock_guard lock(mutex_);
    ++calls_;
    const auto it = reports_.find({path, query});
    if (it != reports_.end()) return it->second;
    return path + ": code object is not signed at all\n";
  }
  int calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::pair<std::string, SignatureQuery>, std::string> reports_;
  int calls_ = 0;
};

}  // namespace halvex::test
