// The start of `halvex --headless` up to its request socket bound, with the country zones (a
// synthetic set as large as the real one) and signature inspection of every app now loaded at
// start. Loading must not stand before the socket. When HALVEX_BASELINE_AGENT names another
// agent binary (an earlier build), both start in turns in the same run and the ratio is reported.

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "RequestPathHarness.h"
#include "configuration/ConfigurationSnapshot.h"
#include "configuration/HXPreferences.h"
#include "fakes/World.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "runtime/PlistIO.h"

using namespace halvex;
using namespace halvex::bench;

namespace {

constexpr int kZoneFiles = 250;
constexpr int kNetworksPerZone = 2000;
constexpr std::size_t kApps = 1000;

// Zones, settings and a configuration of real programs, as an installed agent finds them.
void prepare(const Root& root) {
  const Paths paths = root.paths();
  std::filesystem::create_directories(paths.nationsDir());
  const char* codes[] = {"it", "de", "fr", "us", "jp"};
  for (int z = 0; z < kZoneFiles; ++z) {
    std::ofstream zone(paths.nationsDir() + "/" + codes[z % 5] + std::to_string(z) + "-aggregated.zone");
    for (int n = 0; n < kNetworksPerZone; ++n)
      zone << (z % 223 + 1) << '.' << (n / 256) % 256 << '.' << n % 256 << ".0/24\n";
  }
  std::filesystem::create_directories(std::filesystem::path(paths.defaultsFile()).parent_path());
  std::ofstream(paths.defaultsFile()) << plist::toXml(
      plist::Value(plist::Dictionary{{"verifySignatures", plist::Value(true)}}));

  test::World world;
  std::vector<std::shared_ptr<HXApplication>> list;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/bin")) {
    if (list.size() == kApps) break;
    if (entry.is_regular_file()) list.push_back(generateHXApplication(world.context, 4, entry.path().string()));
  }
  ConfigurationFlags flags;
  flags.enableNotifications = true;
  const plist::Array records = classRecords(preferencesRecord(ConfigurationPreferences{}, flags, false), {}, {}, list);
  std::filesystem::create_directories(std::filesystem::path(paths.confPath()).parent_path());
  std::ofstream(paths.confPath()) << plist::toXml(plist::Value(records));
}

// Milliseconds from the spawn to the agent's socket, measured by polling the file every 100 µs.
double startOnce(const std::string& binary) {
  Root root;
  prepare(root);
  const Paths paths = root.paths();
  standin::DaemonPeer daemon(paths.daemonSocket(), paths.agentSocket());
  const auto start = steady_clock::now();
  const pid_t pid = spawnAgent(root, binary);
  struct stat st {};
  while (::stat(paths.agentSocket().c_str(), &st) != 0 || !S_ISSOCK(st.st_mode)) {
    if (steady_clock::now() - start > seconds(30)) break;
    std::this_thread::sleep_for(microseconds(100));
  }
  const double ms = duration<double, std::milli>(steady_clock::now() - start).count();
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
  return ms;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

void BM_StartToSocketBound(benchmark::State& state) {
  const char* baseline = std::getenv("HALVEX_BASELINE_AGENT");
  std::vector<double> ours, theirs;
  for (auto _ : state) {
    // Interleaved, so that both see the same machine.
    for (int i = 0; i < 7; ++i) {
      ours.push_back(startOnce(HALVEX_AGENT_BIN));
      if (baseline) theirs.push_back(startOnce(baseline));
    }
    state.SetIterationTime(median(ours) / 1000);
  }
  state.counters["median_ms"] = median(ours);
  state.counters["min_ms"] = *std::min_element(ours.begin(), ours.end());
  state.counters["max_ms"] = *std::max_element(ours.begin(), ours.end());
  if (baseline) {
    state.counters["baseline_median_ms"] = median(theirs);
    state.counters["ratio_to_baseline"] = median(ours) / median(theirs);
  }
}
BENCHMARK(BM_StartToSocketBound)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
