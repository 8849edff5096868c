// Requests that the rules settle, through real sockets: the agent loads a configuration of 10,
// 1,000 or 10,000 apps (each with four entries), with alerts on; the asking process is the last
// app of the list, and one of its entries matches. Beside it, in the same run, the two baselines
// of the request path: a bare echo, and an echo with the two /proc look-ups.

#include <fstream>

#include "RequestPathHarness.h"
#include "configuration/ConfigurationSnapshot.h"
#include "configuration/HXPreferences.h"
#include "fakes/World.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "runtime/NotificationCenter.h"
#include "runtime/PlistIO.h"

using namespace halvex;
using namespace halvex::bench;

namespace {

std::string ownExecutable() { return std::filesystem::read_symlink("/proc/self/exe"); }

// The configuration the daemon would have stored: the agent imports it at start.
void writeConfiguration(const Root& root, std::size_t apps) {
  test::World world;
  const RulesContext& context = world.context;
  std::vector<std::shared_ptr<HXApplication>> list;
  for (std::size_t i = 0; i + 1 < apps; ++i) {
    auto app = generateHXApplication(context, 4, "/opt/vendor" + std::to_string(i) + "/bin/tool" + std::to_string(i));
    app->appMatches = {"@10.1.1." + std::to_string(i % 250), "#10.2.0.0/16", "@8080", "#203.0.113.0/24"};
    list.push_back(app);
  }
  auto asker = generateHXApplication(context, 4, ownExecutable());
  asker->appMatches = {"@10.1.1.1", "#10.2.0.0/16", "@8080", "@192.0.2.0/24"};
  list.push_back(asker);

  ConfigurationPreferences preferences;
  ConfigurationFlags flags;
  flags.enableNotifications = true;
  const plist::Array records = classRecords(preferencesRecord(preferences, flags, false), {}, {}, list);
  const std::string path = root.paths().confPath();
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << plist::toXml(plist::Value(records));
}

void run(benchmark::State& state, const char* name, int mode) {
  Root root;
  const Paths paths = root.paths();
  standin::DaemonPeer daemon(paths.daemonSocket(), paths.agentSocket());
  std::unique_ptr<Echo> echo;
  std::unique_ptr<AgentProcess> process;
  if (mode == 2) {
    writeConfiguration(root, static_cast<std::size_t>(state.range(0)));
    process = std::make_unique<AgentProcess>(root);
  } else {
    echo = std::make_unique<Echo>(paths.agentSocket(), paths.daemonSocket(), mode == 1);
  }
  const auto lines = requestLines(20000, ::getpid());
  exchangeAndReport(state, daemon, lines, name);
  if (mode == 2) {
    // Every request must have been settled by the matching rule, not passed some other way.
    auto check = daemon.exchange({lines.front()}, 1, milliseconds(2000));
    if (!check[0].reply || check[0].reply->substr(check[0].reply->size() - 6) != " 4 0 0")
      state.SkipWithError("the agent did not answer by the rule");
  }
}

void BM_BareEcho(benchmark::State& state) { run(state, "echo", 0); }
void BM_EchoWithLookUps(benchmark::State& state) { run(state, "echo_lookups", 1); }
void BM_AgentRules(benchmark::State& state) { run(state, "agent", 2); }

}  // namespace

BENCHMARK(BM_BareEcho)->Arg(0)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EchoWithLookUps)->Arg(0)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AgentRules)->Arg(10)->Arg(1000)->Arg(10000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
