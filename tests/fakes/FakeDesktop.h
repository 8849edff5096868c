#pragma once
// The front end of a test: the virtual-time loop, dialogs answered from a script, and an alert
// presenter, sound, clipboard and file showing that only record what they were asked.

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "agent/FrontEnd.h"
#include "decision/HXNotifyWindowController.h"
#include "fakes/ManualLoop.h"
#include "platform/Dialogs.h"

namespace halvex::test {

// Every alert is recorded; a sheet's completion is posted to the loop with the next scripted
// answer (the first button when the script is empty). File panels answer `panelAnswer` (nothing:
// Cancel).
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
  std::optional<std::string> panelAnswer;
  std::optional<std::string> runFilePanel(const FilePanelRequest& panel) override {
    std::lock_guard lock(mutex_);
    panelTitles_.push_back(panel.title);
    return panelAnswer;
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
  std::vector<std::string> panelTitles_;
};

// What the recorder keeps of an alert it was shown.
struct Alert {
  Request request;
  std::weak_ptr<HXNotifyWindowController> controller;
  const std::string& tag() const { return request.tagNotify; }
};

class RecordingAlerts final : public AlertPresenter {
 public:
  void show(const std::shared_ptr<HXNotifyWindowController>& alert) override {
    const Alert shownAlert{alert->parameters, alert};
    {
      std::lock_guard lock(mutex_);
      shown.push_back(shownAlert);
    }
    if (onShow) onShow(shownAlert);
  }
  void redraw(const HXNotifyWindowController&) override {}
  void close(const HXNotifyWindowController& alert, AlertEnding how, const std::string& replySuffix) override {
    std::lock_guard lock(mutex_);
    closed.push_back(alert.parameters.tagNotify + " " + endingName(how) + replySuffix);
  }
  // Runs at each opening, after it is recorded: a test's quick user.
  std::function<void(const Alert&)> onShow;
  std::vector<Alert> shown;
  std::vector<std::string> closed;

 private:
  std::mutex mutex_;
};

class RecordingDesktop final : public SoundPlayer, public Pasteboard, public Workspace {
 public:
  void play(const std::string& soundName) override { record("play " + soundName); }
  void setString(const std::string& text) override { record("copy " + text); }
  std::string string() const override {
    std::lock_guard lock(mutex_);
    return clipboard_;
  }
  void revealInFolder(const std::string& path) override { record("reveal " + path); }
  void openFile(const std::string& path) override { record("open " + path); }
  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }

 private:
  void record(std::string event) {
    std::lock_guard lock(mutex_);
    if (event.starts_with("copy ")) clipboard_ = event.substr(5);
    events_.push_back(std::move(event));
  }
  mutable std::mutex mutex_;
  std::string clipboard_;
  std::vector<std::string> events_;
};

struct FakeDesktop {
  ManualLoop loop;
  ScriptedDialogs dialogs{loop};
  RecordingAlerts alerts;
  RecordingDesktop desktop;

  FrontEnd bundle() {
    return FrontEnd{loop, dialogs, alerts, desktop, desktop, desktop, [](int) {}};
  }
};

}  // namespace halvex::test
