#pragma once
// The request side of a LibraryWorld's agent: requests handed in as the reader thread hands them
// in, and alerts that the test answers through the alert's entry point (or that answer themselves
// at once, as a quick user would).

#include <atomic>
#include <string>

#include "management/LibraryWorld.h"

namespace halvex::test {

struct RequestSide {
  explicit RequestSide(LibraryWorld& world) : w(world) {
    w.alerts.onShow = [this](const Alert& alert) {
      ++shown;
      if (instant) w.agent.alertAnswers.answer(alert.tag(), AlertAnswer{});
    };
  }
  ~RequestSide() { w.alerts.onShow = nullptr; }

  // A request from process `pid` running `path`, as the reader thread hands it to the queue.
  void request(int pid, const std::string& path, const std::string& ip = "192.0.2.1", const std::string& port = "443") {
    w.processes.add(pid, path, 501);
    w.agent.bridge.readRequest("t " + ip + " " + port + " " + std::to_string(pid) + " TCP 4 0");
  }
  // Answers the oldest open alert (pass, the app for ever); false when none is open.
  bool answerOpen() {
    const auto open = w.agent.alertAnswers.openAlerts();
    return !open.empty() && w.agent.alertAnswers.answer(open.front(), AlertAnswer{}).answered;
  }

  LibraryWorld& w;
  bool instant = false;
  std::atomic<int> shown{0};
};

}  // namespace halvex::test
