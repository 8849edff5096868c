#pragma once
// Process look-ups and process ending for tests: a table of pids, and exits that throw.

#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "platform/ProcessControl.h"
#include "platform/ProcessInfo.h"

namespace halvex::test {

class FakeProcessInfo final : public ProcessInfo {
 public:
  void add(std::int32_t pid, std::string path, std::int32_t uid) {
    std::lock_guard lock(mutex_);
    processes_[pid] = {std::move(path), uid};
  }
  std::optional<std::string> executablePath(std::int32_t pid) const override {
    std::lock_guard lock(mutex_);
    auto it = processes_.find(pid);
    return it == processes_.end() ? std::nullopt : std::optional<std::string>(it->second.first);
  }
  std::optional<std::int32_t> effectiveUid(std::int32_t pid) const override {
    std::lock_guard lock(mutex_);
    auto it = processes_.find(pid);
    return it == processes_.end() ? std::nullopt : std::optional<std::int32_t>(it->second.second);
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::int32_t, std::pair<std::string, std::int32_t>> processes_;
};

struct ProcessExited : std::runtime_error {
  explicit ProcessExited(int s) : std::runtime_error("exit " + std::to_string(s)), status(s) {}
  int status;
};

struct ProcessAborted : std::runtime_error {
  explicit ProcessAborted(const std::string& m) : std::runtime_error(m) {}
};

class ThrowingProcessControl final : public ProcessControl {
 public:
  [[noreturn]] void exitProcess(int status) override { throw ProcessExited(status); }
  [[noreturn]] void fatal(const std::string& message) override { throw ProcessAborted(message); }
};

}  // namespace halvex::test
