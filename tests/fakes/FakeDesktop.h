#pragma once
// The front end of a test: the virtual-time loop, scripted dialogs, and an alert presenter,
// sound, clipboard and file showing that only record what they were asked.

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "agent/FrontEnd.h"
#include "decision/HXNotifyWindowController.h"
#include "fakes/ManualLoop.h"
#include "fakes/ScriptedDialogs.h"

namespace halvex::test {

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
  void redraw(const HXNotifyWindowController&) override { ++redraws; }
  void close(const HXNotifyWindowController& alert, AlertEnding how, const std::string& replySuffix) override {
    std::lock_guard lock(mutex_);
    closed.push_back(alert.parameters.tagNotify + " " + endingName(how) + replySuffix);
  }
  // Runs at each opening, after it is recorded: a test's quick user.
  std::function<void(const Alert&)> onShow;
  std::vector<Alert> shown;
  std::vector<std::string> closed;
  int redraws = 0;

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
  int quitCode = -1;

  FrontEnd bundle() {
    return FrontEnd{loop, dialogs, alerts, desktop, desktop, desktop, [this](int code) { quitCode = code; }};
  }
};

}  // namespace halvex::test
