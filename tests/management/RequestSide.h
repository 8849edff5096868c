#pragma once
// The request side beside a LibraryWorld: the intake and the rule check reading the same globals
// the library controller changes, requests handed in as the reader thread hands them in, and an
// alert that the test answers (or that answers itself at once).

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "decision/AlertPresenter.h"
#include "decision/DecisionContext.h"
#include "decision/HXNotifyController.h"
#include "decision/HXNotifyWindowController.h"
#include "management/LibraryWorld.h"

namespace halvex::test {

class TestAlerts final : public AlertPresenter {
 public:
  explicit TestAlerts(Globals& globals) : globals_(globals) {}
  // On the main loop. An instant alert passes at once and closes, as a quick user would.
  void mostra(std::shared_ptr<HXNotifyWindowController> request) override {
    ++shown;
    if (instant) return answer(*request);
    std::lock_guard lock(mutex_);
    open_.push_back(std::move(request));
  }
  // Answers the oldest open alert; false when none is open.
  bool answerOpen() {
    std::shared_ptr<HXNotifyWindowController> request;
    {
      std::lock_guard lock(mutex_);
      if (open_.empty()) return false;
      request = open_.front();
      open_.erase(open_.begin());
    }
    answer(*request);
    return true;
  }

  bool instant = false;
  std::atomic<int> shown{0};

 private:
  void answer(HXNotifyWindowController& request) {
    request.reply(" 0 # #");
    request.resumeQueue(request.parameterTagString);
    globals_.notificationOnScreen = false;
  }

  Globals& globals_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<HXNotifyWindowController>> open_;
};

struct RequestSide {
  explicit RequestSide(LibraryWorld& world) : w(world) {}

  // A request from process `pid` running `path`, as the reader thread hands it to the queue.
  void request(int pid, const std::string& path, const std::string& ip = "192.0.2.1", const std::string& port = "443") {
    w.processInfo.add(pid, path, 501);
    bridge.readRequest("t " + ip + " " + port + " " + std::to_string(pid) + " TCP 4 0");
  }

  LibraryWorld& w;
  TestAlerts alerts{w.globals};
  DecisionContext context{w.globals, w.channel, w.processes, &w.context, &alerts};
  HXNotifyController intake{context, 501};
  BridgeClassHalvex bridge{w.globals.synchronizedNotification,
                           [this](const std::string& line) { intake.addRequest(line); }};
};

}  // namespace halvex::test
