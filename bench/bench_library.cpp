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

#include "fakes/World.h"
#include "management/HXController.h"
#include "rules/HXApplication.h"
#include "runtime/PlistIO.h"

using namespace halvex;

namespace {

constexpr int kApps = 10000;

// One agent in memory through the program's composition; its daemon carrier keeps only the
// post that a measurement of bytes asks for.
struct World : test::World {
  World() {
    center.recordPosts = false;
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
  void waitForQueue() {
    globals.synchronizedNotification.sync([] {});
  }
  std::size_t bytesOfOneChange() {
    center.recordPosts = true;
    controller.snapshotAndSend();
    waitForQueue();
    center.recordPosts = false;
    const auto posted = center.posted();
    return posted.empty() || !posted.back().userInfo ? 0 : plist::toXml(plist::Value(*posted.back().userInfo)).size();
  }
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
