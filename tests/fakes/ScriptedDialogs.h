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
  // File panels answer the next scripted path; with none left, `panelAnswer` (nothing: Cancel).
  std::optional<std::string> panelAnswer;
  void scriptPanel(std::optional<std::string> path) {
    std::lock_guard lock(mutex_);
    panels_.push_back(std::move(path));
  }
  std::optional<std::string> runFilePanel(const FilePanelRequest& panel) override {
    std::lock_guard lock(mutex_);
    panelTitles_.push_back(panel.title);
    if (panels_.empty()) return panelAnswer;
    auto path = panels_.front();
    panels_.pop_front();
    return path;
  }
  std::vector<std::string> panelTitles() const {
    std::lock_guard lock(mutex_);
    return panelTitles_;
  }

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
  std::deque<std::optional<std::string>> panels_;
  std::vector<std::string> panelTitles_;
};

}  // namespace halvex::test
