// The cost of one library change reaching the daemon with 10,000 managed apps: the queued
// snapshot (globalAppsArray takes a copy of the library) and the sending of the compact lists,
// beside the bare copy of the vector of 10,000 shared pointers in the same run. Also a whole
// change of the selected app as the main loop sees it (rule, view state, snapshot, send), and
// the bytes each change puts on the bus (the user info as the XML property list that travels).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <mutex>

#include "configuration/Globals.h"
#include "management/HXController.h"
#include "platform/linux/LinuxProcessControl.h"
#include "rules/HXApplication.h"
#include "configuration/HXConfiguration.h"
#include "runtime/AgentLoop.h"
#include "runtime/PlistIO.h"

#include "fakes/MemoryFiles.h"

using namespace halvex;

namespace {

constexpr int kApps = 10000;

// Counts the posts; sizes them as the bus carries them only when asked, outside the timing.
class CountingCenter final : public DistributedNotificationCenter {
 public:
  void postNotificationName(const std::string&, const std::string&, const std::optional<plist::Dictionary>& info) override {
    ++posts;
    if (measureBytes && info) lastBytes = plist::toXml(plist::Value(*info)).size();
    benchmark::DoNotOptimize(info);
  }
  Token addObserver(const std::string&, const std::string&, Handler) override { return 0; }
  void removeObserver(Token) override {}

  std::atomic<long> posts{0};
  std::atomic<bool> measureBytes{false};
  std::atomic<std::size_t> lastBytes{0};
};

class NoDialogs final : public Dialogs {
 public:
  AlertResponse runModal(const AlertDescription&) override { return {}; }
  void beginSheet(const std::string&, const AlertDescription&, Completion) override {}
};

struct World {
  World()
      : configuration(HXConfiguration::Links{globals, paths, files, center, dialogs, processControl, logger, context,
                                             defaults}),
        controller(HXController::Links{globals, context, dialogs, defaults, drag}) {
    context.mainLoop = &loop;
    context.notificationCenter = &globals.notificationCenter;
    context.fileSystem = &files;
    configuration.halvexcontroller = &controller;
    controller.halvexconfiguration = &configuration;
    std::vector<std::shared_ptr<HXApplication>> apps;
    for (int i = 0; i < kApps; ++i) {
      const std::string name = "app" + std::to_string(i);
      auto app = controller.generateHXApplication(4, "/Applications/" + name + ".app/Contents/MacOS/" + name);
      app->appMatches = {"@192.0.2." + std::to_string(i % 250), "#198.51.100.0/24", "@443", "#_range6000:6100",
                         "@2001:db8::" + std::to_string(i % 9999)};
      apps.push_back(app);
    }
    controller.appsLibraryController.setContent(apps);
    globals.globalAppsArray = apps;
    controller.selectApp(kApps / 2);
  }
  void waitForQueue() { globals.synchronizedNotification.sync([] {}); }
  std::size_t bytesOfOneChange() {
    center.measureBytes = true;
    controller.snapshotAndSend();
    waitForQueue();
    center.measureBytes = false;
    return center.lastBytes;
  }

  AgentLoop loop;
  Globals globals{loop};
  test::MemoryFiles files;
  CountingCenter center;
  NoDialogs dialogs;
  LinuxProcessControl processControl;
  std::FILE* sink = std::fopen("/dev/null", "w");
  LineLogger logger{"bench", 0, sink, sink};
  RulesContext context;
  Paths paths{PathEnvironment{}};
  UserDefaults defaults{files, "/defaults.plist"};
  DragSession drag;
  HXConfiguration configuration;
  HXController controller;
};

World& world() {
  static World* w = new World;
  return *w;
}

// The bare baseline: what the snapshot's copy of the list costs on its own.
void BM_BareCopyOf10000SharedPointers(benchmark::State& state) {
  const auto& library = world().controller.appsLibrary;
  for (auto _ : state) {
    std::vector<std::shared_ptr<HXApplication>> copy = library;
    benchmark::DoNotOptimize(copy.data());
  }
  state.counters["apps"] = static_cast<double>(library.size());
}
BENCHMARK(BM_BareCopyOf10000SharedPointers)->Unit(benchmark::kMicrosecond);

// The queued ending alone: hand-off to the synchronised queue, snapshot, sendConf, wait.
void BM_SnapshotAndSend(benchmark::State& state) {
  World& w = world();
  for (auto _ : state) {
    w.controller.snapshotAndSend();
    w.waitForQueue();
  }
  state.counters["bytes_posted_per_change"] = static_cast<double>(w.bytesOfOneChange());
  state.counters["apps"] = static_cast<double>(w.globals.globalAppsArray.size());
}
BENCHMARK(BM_SnapshotAndSend)->Unit(benchmark::kMicrosecond);

// A send without a snapshot ("sendConfiguration"): the compact lists alone.
void BM_SendOnly(benchmark::State& state) {
  World& w = world();
  for (auto _ : state) {
    w.controller.sendConfiguration();
    w.waitForQueue();
  }
}
BENCHMARK(BM_SendOnly)->Unit(benchmark::kMicrosecond);

// A whole change of the selected app on the main side (rule, grid view state) and its ending.
void BM_ChangeSelectedAppAndSend(benchmark::State& state) {
  World& w = world();
  bool red = false;
  for (auto _ : state) {
    red = !red;
    if (red) w.controller.makeSelectedAppRed();
    else w.controller.makeSelectedAppGreen();
    w.waitForQueue();
  }
  state.counters["grid_items"] = static_cast<double>(w.controller.appsGrid.items.size());
}
BENCHMARK(BM_ChangeSelectedAppAndSend)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
