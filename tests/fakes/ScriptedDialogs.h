#pragma once
// Alerts answered from a script: every alert is recorded; a sheet's completion is posted to the
// loop with the next scripted answer (the first button when the script is empty).

#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Dialogs.h"
#include "runtime/MainLoop.h"

namespace halvex::test {

class ScriptedDialogs final : public Dialogs {
 public:
  explicit ScriptedDialogs(MainLoop& loop) : loop_(loop) {}

  void script(AlertResponse response) {
    std::lock_guard lock(mutex_);
    script_.push_back(response);
  }
  std::vector<AlertDescription> shown() const {
    std::lock_guard lock(mutex_);
    return shown_;
  }

  AlertResponse runModal(const AlertDescription& alert) override { return next(alert); }
  void beginSheet(const std::string&, const AlertDescription& alert, Completion completion) override {
    const auto response = next(alert);
    loop_.post([completion, response] { completion(response); });
  }
  // No test picks a file: every panel is cancelled.
  std::optional<std::string> runFilePanel(const FilePanelRequest&) override { return std::nullopt; }

 private:
  AlertResponse next(const AlertDescription& alert) {
    std::lock_guard lock(mutex_);
    shown_.push_back(alert);
    if (script_.empty()) return {};
    auto r = script_.front();
    script_.pop_front();
    return r;
  }

  MainLoop& loop_;
  mutable std::mutex mutex_;
  std::deque<AlertResponse> script_;
  std::vector<AlertDescription> shown_;
};

}  // namespace halvex::test
