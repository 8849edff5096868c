#pragma once
// One agent in memory (see World), with the helpers the app library's tests share and its
// request side.

#include <atomic>
#include <string>
#include <vector>

#include "fakes/World.h"

namespace halvex::test {

using Names = std::vector<std::string>;

// One app as the daemon received it.
struct DaemonApp {
  std::string binary;
  std::int64_t state = 0;
  Names matches;
  bool operator==(const DaemonApp&) const = default;
};

struct LibraryWorld : World {
  ~LibraryWorld() { settle(); }

  // Runs everything queued on both sides until nothing is left.
  void settle() {
    for (int round = 0; round < 4; ++round) {
      globals.synchronizedNotification.sync([] {});
      loop.runPending();
    }
  }

  // An app in the library and its mirror, as a loaded configuration leaves it.
  std::shared_ptr<HXApplication> load(const std::string& path, std::int64_t state, Names matches = {}) {
    auto app = controller.generateHXApplication(state, path);
    app->appMatches = std::move(matches);
    controller.appsLibraryController.addObject(app);
    globals.globalAppsArray.push_back(app);
    controller.appsLibraryController.clearSelection();
    return app;
  }
  void select(std::size_t index) { controller.selectApp(static_cast<std::int64_t>(index)); }
  // Selects the app at `index`, runs one library action on it and lets everything settle.
  void act(std::size_t index, void (HXController::*action)()) {
    select(index);
    (controller.*action)();
    settle();
  }

  std::vector<DistributedNotification> appLists() const { return center.posted("newAppListReceived"); }
  // The apps of the last list the daemon received.
  std::vector<DaemonApp> daemonApps() const {
    std::vector<DaemonApp> apps;
    const auto lists = appLists();
    if (lists.empty() || !lists.back().userInfo) return apps;
    for (const auto& entry : *lists.back().userInfo->find("AppList")->asArray()) {
      const auto& d = *entry.asDictionary();
      DaemonApp& app = apps.emplace_back();
      app.binary = *d.find("appBinaries")->asArray()->front().asString();
      app.state = *d.find("appIsBlockedOrAllowed")->asInteger();
      for (const auto& m : *d.find("appMatches")->asArray()) app.matches.push_back(*m.asString());
    }
    return apps;
  }
  template <class Range, class Field>
  static Names collect(const Range& range, Field field) {
    Names names;
    for (const auto& item : range) names.push_back(field(item));
    return names;
  }
  Names daemonBinaries() const {
    return collect(daemonApps(), [](const auto& a) { return a.binary; });
  }
  Names gridNames() const {
    return collect(controller.appsGrid.items, [](const auto& i) { return i.appName; });
  }

  DragSession& drag = agent.dragSession;
};

// Starts a timed rule on `app`, as its popover does.
inline void startTimer(HXApplication& app, double seconds) {
  app.setAppTimer(seconds);
  app.appHasTimer = true;
}

// The request side of the agent: requests handed in as the reader thread hands them in, and alerts
// that the test answers through the alert's entry point (or that answer themselves at once, as a
// quick user would).
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
