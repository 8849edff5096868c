#pragma once
// One agent's app library in memory: globals on a manual loop, a recording daemon carrier,
// scripted sheets, the request channel on fake sockets, and the configuration and library
// controller linked as the program links them.

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "fakes/FakeDistributedCenter.h"
#include "fakes/FakeProcesses.h"
#include "fakes/FakeSockets.h"
#include "fakes/ManualLoop.h"
#include "fakes/MemoryFiles.h"
#include "fakes/ScriptedDialogs.h"
#include "link/BridgeClassHalvex.h"
#include "link/managesocketagent.h"
#include "management/HXController.h"
#include "rules/HXApplication.h"
#include "configuration/HXConfiguration.h"
#include "runtime/LineLogger.h"

namespace halvex::test {

using Names = std::vector<std::string>;

// One app as the daemon received it.
struct DaemonApp {
  std::string binary;
  std::int64_t state = 0;
  Names matches;
  bool operator==(const DaemonApp&) const = default;
};

struct LibraryWorld {
  LibraryWorld()
      : channel(sockets, processInfo, processes, logger, bridge, "/agent", "/daemon"),
        configuration(HXConfiguration::Links{globals, paths, files, center, dialogs, processes, logger, context, defaults,
                                             [this](const FilePanelRequest&) {
                                               ++panels;
                                               return panelAnswer;
                                             }}),
        controller(HXController::Links{globals, context, dialogs, defaults, drag}) {
    context.mainLoop = &loop;
    context.notificationCenter = &globals.notificationCenter;
    context.fileSystem = &files;
    configuration.halvexcontroller = &controller;
    controller.halvexconfiguration = &configuration;
    controller.mymanagesocketagent = &channel;
  }
  ~LibraryWorld() {
    settle();
    std::fclose(sink);
  }

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

  std::vector<DistributedNotification> appLists() const {
    std::vector<DistributedNotification> lists;
    for (const auto& n : center.posted())
      if (n.name == "newAppListReceived") lists.push_back(n);
    return lists;
  }
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
  Names daemonBinaries() const { return collect(daemonApps(), [](const auto& a) { return a.binary; }); }
  Names mirrorNames() const { return collect(globals.globalAppsArray, [](const auto& a) { return a->appName; }); }
  Names gridNames() const { return collect(controller.appsGrid.items, [](const auto& i) { return i.appName; }); }

  ManualLoop loop;
  Globals globals{loop};
  MemoryFiles files;
  FakeDistributedCenter center{loop};
  ScriptedDialogs dialogs{loop};
  ThrowingProcessControl processes;
  FakeProcessInfo processInfo;
  FakeSockets sockets;
  std::FILE* sink = std::tmpfile();
  LineLogger logger{"test", 1, sink, sink};
  RulesContext context;
  Paths paths{PathEnvironment{}};
  UserDefaults defaults{files, "/home/u/.config/halvex/defaults.plist"};
  DragSession drag;
  // File panels opened by the configuration's file actions, and their answer (nothing: Cancel).
  int panels = 0;
  std::optional<std::string> panelAnswer;
  BridgeClassHalvex bridge{globals.synchronizedNotification, [](const std::string&) {}};
  managesocketagent channel;
  HXConfiguration configuration;
  HXController controller;
};

// Starts a timed rule on `app`, as its popover does.
inline void startTimer(HXApplication& app, double seconds) {
  app.setAppTimer(seconds);
  app.appHasTimer = true;
}

}  // namespace halvex::test
