// The request path through real sockets: the real agent against the daemon's side of the channel,
// beside two baselines over the same socket pair in the same run, a bare datagram echo and an echo
// that also makes the two /proc look-ups of a request. Reported: requests per second, p50 and p99
// latency, and each figure's ratio to the baselines.

#include "RequestPathHarness.h"

using namespace halvex;
using namespace halvex::bench;

namespace {

void run(benchmark::State& state, const char* name, bool lookUps, bool agent) {
  Root root;
  const Paths paths = root.paths();
  standin::DaemonPeer daemon(paths.daemonSocket(), paths.agentSocket());
  std::unique_ptr<Echo> echo;
  std::unique_ptr<AgentProcess> process;
  if (agent) {
    process = std::make_unique<AgentProcess>(root);
  } else {
    echo = std::make_unique<Echo>(paths.agentSocket(), paths.daemonSocket(), lookUps);
  }
  exchangeAndReport(state, daemon, requestLines(static_cast<std::size_t>(state.range(0)), ::getpid()), name);
}

void BM_BareEcho(benchmark::State& state) { run(state, "echo", false, false); }
void BM_EchoWithLookUps(benchmark::State& state) { run(state, "echo_lookups", true, false); }
// Alerts off: every request is passed after the look-ups and its app learnt on the main loop.
void BM_AgentAlertsOff(benchmark::State& state) { run(state, "agent", false, true); }

}  // namespace

BENCHMARK(BM_BareEcho)->Arg(20000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EchoWithLookUps)->Arg(20000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AgentAlertsOff)->Arg(20000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
