#pragma once
// The request side beside a LibraryWorld, on the same globals as the library controller: requests
// handed to the queue as the reader hands them, the intake, the rule check, and an alert that the
// test answers on the main loop (or that answers itself at once).

#include <memory>
#include <string>
#include <utility>

#include "decision/AlertPresenter.h"
#include "decision/HXNotifyController.h"
#include "decision/HXNotifyWindowController.h"
#include "management/LibraryWorld.h"

namespace halvex::test {

struct RequestSide final : AlertPresenter {
  explicit RequestSide(LibraryWorld& world) : w(world) {}

  void request(int pid, const std::string& path, const std::string& ip = "192.0.2.1", const std::string& port = "443") {
    w.processInfo.add(pid, path, 501);
    bridge.readRequest("t " + ip + " " + port + " " + std::to_string(pid) + " TCP 4 0");
  }
  // On the main loop, like the rest of the alert.
  void mostra(std::shared_ptr<HXNotifyWindowController> request) override {
    ++shown;
    open = std::move(request);
    if (instant) answer();
  }
  // The open alert passes the connection and closes.
  void answer() {
    auto request = std::exchange(open, nullptr);
    request->reply(" 0 # #");
    request->resumeQueue(request->parameterTagString);
    w.globals.notificationOnScreen = false;
  }

  LibraryWorld& w;
  bool instant = false;
  int shown = 0;
  std::shared_ptr<HXNotifyWindowController> open;
  DecisionContext context{w.globals, w.channel, w.processes, &w.context, this};
  HXNotifyController intake{context, 501};
  BridgeClassHalvex bridge{w.globals.synchronizedNotification,
                           [this](const std::string& line) { intake.addRequest(line); }};
};

}  // namespace halvex::test
