// The alert's sentence and facts, quiet time and the service names, in memory.
//
// FirstSentence: from a request's intake to the presenter's `show` with the sentence written, in
// a world whose fact ports (host names, icons, the services script, the users) each take 200 ms,
// against a world whose ports answer at once; the rounds of the two interleave in the same run,
// and each alert is answered at once for its address. Three forms: back to back, so that the slow
// look-ups of earlier alerts still hold every worker of the facts' queue when the next one opens;
// with idle workers, each slow round starting once the look-ups before it have ended; and with
// the process owners' port slow too (the password database and the console user).
//
// QuietBurst: requests of an app in quiet time, each to a new address that its rule entries
// remember, in chunks of 100 that alternate with chunks of requests an address rule of another
// app settles.
//
// ServiceName: the service-name pipeline through the real process runner over /etc/services,
// against a bare quiet script (`true`) through the same runner.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <fstream>
#include <optional>

#include "commands/CommandRunner.h"
#include "decision/AlertAnswer.h"
#include "intelligence/ServiceNames.h"
#include "link/ChannelWorld.h"
#include "platform/linux/LinuxProcessRunner.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"

using namespace halvex;
using namespace std::chrono;

namespace {

constexpr milliseconds kSlow{200};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

// The process's threads: the look-ups still running each hold one.
long threadCount() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("Threads:", 0) == 0) return std::atol(line.c_str() + 8);
  return -1;
}

// A port that waits before it answers, as a slow resolver, desktop, disk or directory would.
struct Slow {
  milliseconds delay;
  void pause() const {
    if (delay.count() > 0) std::this_thread::sleep_for(delay);
  }
};

struct SlowHostNames final : HostNames, Slow {
  explicit SlowHostNames(milliseconds d) : Slow{d} {}
  std::vector<std::string> namesForAddress(const std::string&) const override {
    pause();
    return {"host.example.org"};
  }
};

struct SlowIcons final : FileIcons, Slow {
  explicit SlowIcons(milliseconds d) : Slow{d} {}
  std::string iconNameForFile(const std::string&) const override {
    pause();
    return "tool-icon";
  }
};

struct SlowUsers final : SystemUsers, Slow {
  explicit SlowUsers(milliseconds d) : Slow{d} {}
  std::vector<SystemUser> systemUsers() const override {
    pause();
    return {{"ada", UserPicture{"/pics/ada", 64, 48}}};
  }
};

struct SlowOwners final : ProcessOwners, Slow {
  explicit SlowOwners(milliseconds d) : Slow{d} {}
  std::optional<std::string> userName(std::int32_t) const override {
    pause();
    return "ada";
  }
  std::optional<std::int32_t> consoleUser() const override {
    pause();
    return 501;
  }
  std::string serviceReport(std::int32_t) const override { return {}; }
};

constexpr std::int32_t kToolPid = 300;

// The agent over fakes as test::World builds it, with the fact ports above; alerts on.
struct FactWorld {
  FactWorld(milliseconds facts, milliseconds ownersDelay)
      : hostNames(facts), icons(facts), users(facts), owners(ownersDelay) {
    runner.answer([facts](const ProcessRequest&) {
      std::this_thread::sleep_for(facts);
      return ProcessResult{.launched = true, .timedOut = false, .exitStatus = 0, .output = "https  443/tcp\n"};
    });
    processes.add(kToolPid, "/opt/Tool.app/Contents/MacOS/tool", 501);
    agent.globals.enableNotifications = true;
    agent.alertFacts.awakeFromNib();
  }
  test::FakeDesktop front;
  SlowHostNames hostNames;
  SlowIcons icons;
  SlowUsers users;
  SlowOwners owners;
  test::FakeProcessRunner runner;
  test::MemoryFiles files;
  test::FakeProcessInfo processes;
  test::ThrowingProcessControl control;
  test::FakeSockets sockets;
  test::FakeStandardStreams streams;
  test::FakeRunningApplications running;
  test::FakeDistributedCenter center{front.loop};
  test::MapBundleInfo bundles;
  test::FakeCodeSignatures signatures;
  test::FakeTcpProbe probe;
  test::FakeWallClock clock;
  // Closed after the agent, whose queues may still log while they end.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> logFile{std::tmpfile(), &std::fclose};
  LineLogger logger{"halvex", 1, logFile.get(), logFile.get()};
  std::ostringstream reports;
  Paths paths{test::testEnvironment()};
  Composition agent{
      Ports{paths, logger,    files,   processes,  control, owners, runner, sockets, streams, running,  center,
            icons, hostNames, bundles, signatures, probe,   files,  users,  clock,   reports, "Debian", 501},
      front.bundle()};
};

// Opens an alert for a new address and port, answers it for that address, and returns the time
// from the intake to `show` with this request's sentence written; nothing if none showed.
std::optional<double> firstSentenceMicros(FactWorld& world, int round) {
  const std::string address = "10.1." + std::to_string(round / 250) + "." + std::to_string(1 + round % 250);
  const std::string line =
      "t " + address + " " + std::to_string(20000 + round) + " " + std::to_string(kToolPid) + " TCP 4 0";
  std::optional<steady_clock::time_point> shownAt;
  world.front.alerts.onShow = [&](const test::Alert& shown) {
    const auto alert = shown.controller.lock();
    if (alert && alert->window.descriptionString.text.find(address) != std::string::npos) shownAt = steady_clock::now();
  };
  const auto start = steady_clock::now();
  world.agent.globals.synchronizedNotification.suspend();
  world.agent.notifyController.addRequest(line);
  world.front.loop.runPending();
  if (!shownAt) return std::nullopt;
  AlertAnswer answer;
  answer.scope = AlertScope::address;
  if (!world.agent.alertAnswers.answer(std::to_string(world.agent.globals.requestCounter), answer).answered)
    return std::nullopt;
  // What the answer left on the loop runs before the next round's clock starts.
  world.front.loop.runPending();
  return duration<double, std::micro>(*shownAt - start).count();
}

enum class Slowed { facts, factsIdleWorkers, factsAndOwners };

void BM_FirstSentence(benchmark::State& state, Slowed slowed) {
  const auto rounds = static_cast<int>(state.range(0));
  for (auto _ : state) {
    FactWorld instant(0ms, 0ms);
    FactWorld slow(kSlow, slowed == Slowed::factsAndOwners ? kSlow : 0ms);
    std::vector<double> instantMicros, slowMicros;
    for (int r = 0; r < rounds; ++r) {
      // The longest look-up is the host name and then the services script; the pause is unmeasured.
      if (slowed == Slowed::factsIdleWorkers && r > 0) std::this_thread::sleep_for(2 * kSlow + 100ms);
      // Each world goes first in every other round, so neither is always the one woken from a pause.
      const bool instantFirst = r % 2 == 0;
      const auto a = firstSentenceMicros(instantFirst ? instant : slow, r);
      const auto b = firstSentenceMicros(instantFirst ? slow : instant, r);
      if (!a || !b) return state.SkipWithError("an alert did not show its sentence, or was not answered");
      instantMicros.push_back(instantFirst ? *a : *b);
      slowMicros.push_back(instantFirst ? *b : *a);
    }
    state.counters["threads_at_end"] = static_cast<double>(threadCount());
    state.SetIterationTime(median(slowMicros) * 1e-6);
    state.counters["instant_us"] = median(instantMicros);
    state.counters["slow_us"] = median(slowMicros);
    state.counters["slow_to_instant"] = median(slowMicros) / median(instantMicros);
    state.counters["slow_max_us"] = *std::max_element(slowMicros.begin(), slowMicros.end());
  }  // The slow world waits here for its look-ups still running, outside the figures.
}

std::shared_ptr<HXApplication> knownApp(test::ChannelWorld& world, std::int32_t pid, const std::string& path,
                                        std::vector<std::string> matches) {
  world.processes.add(pid, path, 501);
  auto app = generateHXApplication(world.context, 4, path);
  app->appMatches = std::move(matches);
  world.globals.globalAppsArray.push_back(app);
  return app;
}

// Seconds for the requests from `lines`, each through the real intake and the loop.
template <typename Lines>
double secondsFor(test::ChannelWorld& world, std::size_t count, const Lines& lines) {
  const auto start = steady_clock::now();
  for (std::size_t i = 0; i < count; ++i) {
    world.intake(lines(i));
    world.loop.runPending();
  }
  return duration<double>(steady_clock::now() - start).count();
}

void BM_QuietBurst(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  constexpr std::size_t kChunk = 100;
  for (auto _ : state) {
    test::ChannelWorld world;
    world.center.recordPosts = false;
    world.globals.enableNotifications = true;
    knownApp(world, 301, "/opt/settled/bin/settled", {"@198.51.100.1"});
    const auto quiet = knownApp(world, 302, "/opt/quiet/bin/quiet", {});
    quiet->setQuiet("pass", 30 * 86400.0);  // virtual time stands still: it never ends here

    const auto quietLine = [](std::size_t i) {
      return "t 10." + std::to_string(i >> 16) + "." + std::to_string((i >> 8) & 255) + "." + std::to_string(i & 255) +
             " 443 302 TCP 4 0";
    };
    const auto settledLine = [](std::size_t) { return std::string("t 198.51.100.1 443 301 TCP 4 0"); };
    // The quiet app's first noted address: settled by the rule walk over the same long list.
    const auto notedLine = [&](std::size_t) { return quietLine(0); };
    std::vector<double> quietSeconds, settledSeconds, notedSeconds;
    double quietAt1000 = 0, notedAt1000 = 0;
    for (std::size_t done = 0; done < count; done += kChunk) {
      quietSeconds.push_back(secondsFor(world, kChunk, [&](std::size_t i) { return quietLine(done + i); }));
      settledSeconds.push_back(secondsFor(world, kChunk, settledLine));
      notedSeconds.push_back(secondsFor(world, kChunk, notedLine));
      if (done + kChunk == 1000) {
        quietAt1000 = quietSeconds.back();
        notedAt1000 = notedSeconds.back();
      }
    }
    const auto sent = world.sockets.sentLines();
    if (quiet->appMatches.size() != count || sent.size() != 3 * count || !world.alerts.shown.empty() ||
        !sent[sent.size() - 2].ends_with(" 4 0 0") || !sent.back().ends_with(" 4 0 0"))
      return state.SkipWithError("requests were not answered by the quiet time and the address rule");

    double quietTotal = 0, settledTotal = 0;
    for (double s : quietSeconds) quietTotal += s;
    for (double s : settledSeconds) settledTotal += s;
    // A chunk's figure sets it against the settled chunks' median, so one slow chunk of the
    // baseline does not stand for all.
    const double settledChunk = median(settledSeconds);
    state.SetIterationTime(quietTotal);
    state.counters["quiet_req_per_s"] = static_cast<double>(count) / quietTotal;
    state.counters["settled_req_per_s"] = static_cast<double>(count) / settledTotal;
    state.counters["quiet_to_settled"] = settledTotal / quietTotal;
    state.counters["quiet_to_settled_first_100"] = settledChunk / quietSeconds.front();
    state.counters["quiet_to_settled_at_1000"] = settledChunk / quietAt1000;
    state.counters["quiet_to_settled_at_end"] = settledChunk / quietSeconds.back();
    // Against requests the same list settles: what quiet time adds to the walk every request makes.
    state.counters["quiet_to_same_list_at_1000"] = notedAt1000 / quietAt1000;
    state.counters["quiet_to_same_list_at_end"] = notedSeconds.back() / quietSeconds.back();
  }
}

// The real runner, counting what it starts.
struct CountingRunner final : ProcessRunner {
  ProcessResult run(const ProcessRequest& request) override {
    ++started;
    return processes.run(request);
  }
  LinuxProcessRunner processes;
  std::size_t started = 0;
};

void BM_ServiceName(benchmark::State& state) {
  constexpr int kRounds = 5, kSpawns = 20, kNoSpawns = 10000;
  for (auto _ : state) {
    CountingRunner processes;
    const CommandRunner runner(processes);
    bool right = true;
    // Microseconds per call of `call`, which must answer `expected`.
    const auto perCall = [&](int calls, const std::string& expected, const auto& call) {
      const auto start = steady_clock::now();
      for (int i = 0; i < calls; ++i) right = call() == expected && right;
      return duration<double, std::micro>(steady_clock::now() - start).count() / calls;
    };
    std::vector<double> shell, listed, unlisted, notDigits;
    std::size_t notDigitSpawns = 0;
    for (int r = 0; r < kRounds; ++r) {
      shell.push_back(perCall(kSpawns, "", [&] { return runner.quietScript("true"); }));
      listed.push_back(perCall(kSpawns, "(https)", [&] { return serviceText("443", runner); }));
      unlisted.push_back(perCall(kSpawns, "", [&] { return serviceText("64999", runner); }));
      const std::size_t before = processes.started;
      notDigits.push_back(perCall(kNoSpawns, "", [&] { return serviceText("44a3", runner); }));
      notDigitSpawns += processes.started - before;
    }
    if (!right) return state.SkipWithError("a service text was not the one /etc/services gives");
    state.SetIterationTime(median(listed) * 1e-6);
    state.counters["shell_us"] = median(shell);
    state.counters["listed_us"] = median(listed);
    state.counters["unlisted_us"] = median(unlisted);
    state.counters["not_digits_us"] = median(notDigits);
    state.counters["listed_to_shell"] = median(listed) / median(shell);
    state.counters["unlisted_to_shell"] = median(unlisted) / median(shell);
    state.counters["not_digits_spawns"] = static_cast<double>(notDigitSpawns);
  }
}

// One run each: the figures are the counters.
void once(benchmark::internal::Benchmark* b) { b->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond); }

}  // namespace

BENCHMARK_CAPTURE(BM_FirstSentence, facts_slow, Slowed::facts)->Arg(60)->Apply(once);
BENCHMARK_CAPTURE(BM_FirstSentence, facts_slow_idle_workers, Slowed::factsIdleWorkers)->Arg(16)->Apply(once);
BENCHMARK_CAPTURE(BM_FirstSentence, facts_and_owners_slow, Slowed::factsAndOwners)->Arg(5)->Apply(once);
BENCHMARK(BM_QuietBurst)->Arg(1000)->Arg(10000)->Apply(once);
BENCHMARK(BM_ServiceName)->Apply(once);

BENCHMARK_MAIN();
