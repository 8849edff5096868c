// Alerts through real sockets: the real agent with alerts on, its console read from a pipe and
// answered through another, the daemon's side of the channel sending the requests.
//
// HeldRequests: one alert open, then N requests that its answer's rule will settle, sent while it
// holds the request queue (each send never waits: a full socket is counted and tried again), then
// the answer. Every request must be answered, in the order sent. Reported: the drain rate, from
// the answer to the last reply, against the rule-settled rate of the same agent right after (the
// median of three rounds); the agent's resident memory per held request; how the sending went.
//
// AlertOpening: from a request's datagram to the alert's opening line on the console, over N
// alerts each answered at once, against the round trip of requests a rule settles, interleaved
// with the alerts in the same agent.

#include <poll.h>

#include <fstream>
#include <optional>

#include "RequestPathHarness.h"
#include "configuration/ConfigurationSnapshot.h"
#include "runtime/PlistIO.h"

using namespace halvex;
using namespace halvex::bench;

namespace {

using plist::Array;
using plist::Dictionary;
using plist::Value;

constexpr auto kReplyTimeout = milliseconds(10000);

// Alerts on, and an alert that outlives any run: nothing expires on its own.
void writeAlertsOnConfiguration(const Root& root) {
  const std::string path = root.paths().confPath();
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  const Array records{Value(Dictionary{{"HalvexClassName", Value("HXPreferences")},
                                       {"enableNotifications", Value(true)},
                                       {"notificationsTimeOut", Value(600.0)},
                                       {"automaticXPC", Value(true)},
                                       {"popSound", Value(false)}})};
  std::ofstream(path) << plist::toXml(Value(Array{Value(encodedConfiguration(records, "bench"))}));
}

// The agent's standard input (answers) and standard output (the console's lines), as pipes.
class Console {
 public:
  Console() {
    if (::pipe2(input_, O_CLOEXEC) != 0 || ::pipe2(output_, O_CLOEXEC) != 0) std::abort();
  }
  ~Console() {
    for (int fd : {input_[0], input_[1], output_[0], output_[1]})
      if (fd >= 0) ::close(fd);
  }
  int agentInput() const { return input_[0]; }
  int agentOutput() const { return output_[1]; }
  // Once the agent holds its ends, ours of them go, so that its exit ends our reads.
  void spawned() {
    ::close(input_[0]);
    ::close(output_[1]);
    input_[0] = output_[1] = -1;
  }

  bool say(const std::string& line) {
    const std::string text = line + "\n";
    return ::write(input_[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }

  // The next line that starts with `prefix` and holds `part`, with the moment it was read; lines
  // before it are passed over. Nothing after `timeout`.
  std::optional<std::pair<std::string, steady_clock::time_point>> waitFor(const std::string& prefix,
                                                                          const std::string& part,
                                                                          milliseconds timeout) {
    const auto end = steady_clock::now() + timeout;
    for (;;) {
      for (std::size_t newline; (newline = buffer_.find('\n')) != std::string::npos;) {
        std::string line = buffer_.substr(0, newline);
        buffer_.erase(0, newline + 1);
        if (line.rfind(prefix, 0) == 0 && line.find(part) != std::string::npos) return {{line, readAt_}};
      }
      const auto left = duration_cast<milliseconds>(end - steady_clock::now()).count();
      if (left <= 0) return std::nullopt;
      pollfd p{output_[0], POLLIN, 0};
      if (::poll(&p, 1, static_cast<int>(left)) <= 0) continue;
      char chunk[4096];
      const ssize_t n = ::read(output_[0], chunk, sizeof chunk);
      if (n <= 0) return std::nullopt;
      readAt_ = steady_clock::now();
      buffer_.append(chunk, static_cast<std::size_t>(n));
    }
  }

 private:
  int input_[2] = {-1, -1};
  int output_[2] = {-1, -1};
  std::string buffer_;
  steady_clock::time_point readAt_;
};

// The agent's resident set in kB, from /proc/PID/status.
long residentKb(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  return -1;
}

struct AlertsOnRoot : Root {
  AlertsOnRoot() { writeAlertsOnConfiguration(*this); }
};

// An agent with alerts on, its console on pipes, the daemon's side bound.
struct AlertingAgent {
  AlertsOnRoot root;
  standin::DaemonPeer daemon;
  Console console;
  std::unique_ptr<AgentProcess> process;
  const std::string pid = std::to_string(::getpid());

  AlertingAgent() : daemon(root.paths().daemonSocket(), root.paths().agentSocket()) {
    process = std::make_unique<AgentProcess>(root, console.agentInput(), console.agentOutput());
    console.spawned();
    while (daemon.receive(milliseconds(0))) {
    }
  }

  std::string line(std::size_t id, const std::string& address, int port) const {
    return std::to_string(id) + " " + address + " " + std::to_string(port) + " " + pid + " TCP 4 0";
  }

  // Sends `request`, waits for its alert to open and answers it; false when something did not come.
  bool alertAndAnswer(const std::string& request, const std::string& answer, const std::string& replySuffix) {
    if (!daemon.sendLine(request)) return false;
    if (!console.waitFor("[alert ", "is trying a", kReplyTimeout)) return false;
    if (!console.say(answer)) return false;
    const auto reply = daemon.receive(kReplyTimeout);
    return reply && *reply == request + replySuffix && console.waitFor("[alert ", "] answered", kReplyTimeout);
  }
};

double percentile(std::vector<double> values, double fraction) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
  return values[std::min(index, values.size() - 1)];
}

// One round of held requests on port `port`, which no rule yet settles for this app.
struct HeldRound {
  const char* error = nullptr;
  std::size_t waitedSends = 0, repliesWhileHeld = 0, heldAnswered = 0, outOfOrder = 0;
  std::size_t settledAnswered = 0, settledWrong = 0;
  nanoseconds longestWait{0};
  double sendSeconds = 0, drainRate = 0, settledRate = 0;
  long residentBefore = 0, residentHeld = 0;
};

HeldRound holdDrainAndSettle(AlertingAgent& agent, std::size_t count, int port) {
  HeldRound round;
  const pid_t agentPid = agent.process->pid();
  const std::string opener = agent.line(1, "192.0.2.1", port);
  if (!agent.daemon.sendLine(opener) || !agent.console.waitFor("[alert ", "is trying a", kReplyTimeout)) {
    round.error = "a request opened no alert";
    return round;
  }
  std::this_thread::sleep_for(milliseconds(200));
  round.residentBefore = residentKb(agentPid);

  // While it is open: requests the answer "pass port" will settle. A send that finds the agent's
  // socket full is tried again at once, and the wait counted.
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < count; ++i)
    lines.push_back(agent.line(100000 + i, "192.0.2." + std::to_string(1 + i % 250), port));
  const auto sendStart = steady_clock::now();
  for (const auto& line : lines) {
    auto sent = agent.daemon.trySendLine(line);
    if (sent == standin::DaemonPeer::Sent::wouldBlock) {
      ++round.waitedSends;
      const auto fullSince = steady_clock::now();
      while ((sent = agent.daemon.trySendLine(line)) == standin::DaemonPeer::Sent::wouldBlock &&
             steady_clock::now() - fullSince < kReplyTimeout)
        std::this_thread::yield();
      round.longestWait = std::max<nanoseconds>(round.longestWait, steady_clock::now() - fullSince);
    }
    if (sent != standin::DaemonPeer::Sent::yes) {
      round.error = "a send failed, or the agent's socket stayed full";
      return round;
    }
  }
  round.sendSeconds = duration<double>(steady_clock::now() - sendStart).count();
  // A reply now would be a request decided past the open alert. The pause also lets the reader
  // take the last datagrams off the socket.
  while (agent.daemon.receive(milliseconds(300))) ++round.repliesWhileHeld;
  round.residentHeld = residentKb(agentPid);

  // The answer; then the opener's reply and every held request's, in the order sent.
  const auto answeredAt = steady_clock::now();
  agent.console.say("pass port");
  std::size_t replies = 0;
  steady_clock::time_point lastReply = answeredAt;
  while (replies < count + 1) {
    const auto reply = agent.daemon.receive(kReplyTimeout);
    if (!reply) break;
    lastReply = steady_clock::now();
    const std::string& expected = replies == 0 ? opener : lines[replies - 1];
    if (*reply != expected + " 4 1 0") ++round.outOfOrder;
    ++replies;
  }
  round.heldAnswered = replies == 0 ? 0 : replies - 1;
  round.drainRate = static_cast<double>(round.heldAnswered) / duration<double>(lastReply - answeredAt).count();

  // At once the same requests again, now settled by the rule as they arrive, a window at a time.
  const auto settledStart = steady_clock::now();
  const auto settled = agent.daemon.exchange(lines, kWindow, milliseconds(5000));
  const double settledSeconds = duration<double>(steady_clock::now() - settledStart).count();
  for (const auto& r : settled) {
    if (!r.reply) continue;
    ++round.settledAnswered;
    if (*r.reply != r.request + " 4 1 0") ++round.settledWrong;
  }
  round.settledRate = static_cast<double>(round.settledAnswered) / settledSeconds;
  if (round.heldAnswered != count || round.outOfOrder != 0 || round.repliesWhileHeld != 0)
    round.error = "held requests were lost, answered early or answered out of order";
  else if (round.settledAnswered != count || round.settledWrong != 0)
    round.error = "requests the port rule settles were not answered by it";
  return round;
}

double median(std::vector<double> values) { return percentile(std::move(values), 0.5); }

// Rounds in one agent, each on a port of its own; the drain and the settled rate of a round are
// measured back to back, so that their ratio sees the same load on the machine, and the medians
// of the rounds are reported. The memory is the first round's: later rounds reuse what the
// allocator kept from the first.
void BM_HeldRequests(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  constexpr int kRounds = 3;
  for (auto _ : state) {
    AlertingAgent agent;
    std::vector<HeldRound> rounds;
    for (int r = 0; r < kRounds; ++r) {
      rounds.push_back(holdDrainAndSettle(agent, count, 8000 + r));
      if (rounds.back().error) {
        state.SkipWithError(rounds.back().error);
        return;
      }
    }
    std::vector<double> drain, settled, ratio, sendSeconds, waited, longest;
    for (const auto& r : rounds) {
      drain.push_back(r.drainRate);
      settled.push_back(r.settledRate);
      ratio.push_back(r.drainRate / r.settledRate);
      sendSeconds.push_back(r.sendSeconds);
      waited.push_back(static_cast<double>(r.waitedSends));
      longest.push_back(duration<double, std::micro>(r.longestWait).count());
    }
    const HeldRound& first = rounds.front();
    state.SetIterationTime(static_cast<double>(count) / median(drain));
    state.counters["sent_while_held"] = static_cast<double>(count);
    state.counters["sends_found_socket_full"] = median(waited);
    state.counters["longest_full_us"] = median(longest);
    state.counters["send_s"] = median(sendSeconds);
    state.counters["drain_req_per_s"] = median(drain);
    state.counters["settled_req_per_s"] = median(settled);
    state.counters["drain_to_settled"] = median(ratio);
    state.counters["drain_to_settled_min"] = *std::min_element(ratio.begin(), ratio.end());
    state.counters["rss_before_kb"] = static_cast<double>(first.residentBefore);
    state.counters["rss_held_kb"] = static_cast<double>(first.residentHeld);
    state.counters["bytes_per_held"] =
        static_cast<double>(first.residentHeld - first.residentBefore) * 1024.0 / static_cast<double>(count);
  }
}

void BM_AlertOpening(benchmark::State& state) {
  const auto alerts = static_cast<std::size_t>(state.range(0));
  constexpr std::size_t kSettledPerAlert = 5;
  for (auto _ : state) {
    AlertingAgent agent;
    // Port 443 passes from now on: the settled requests' rule.
    if (!agent.alertAndAnswer(agent.line(1, "192.0.2.1", 443), "pass port", " 4 1 0")) {
      state.SkipWithError("the first alert did not open or close");
      return;
    }
    std::vector<double> settledMicros, openingMicros;
    std::size_t id = 2;
    const auto start = steady_clock::now();
    for (std::size_t i = 0; i < alerts; ++i) {
      for (std::size_t k = 0; k < kSettledPerAlert; ++k) {
        const std::string request = agent.line(id++, "192.0.2." + std::to_string(1 + k), 443);
        const auto sentAt = steady_clock::now();
        agent.daemon.sendLine(request);
        const auto reply = agent.daemon.receive(kReplyTimeout);
        if (!reply || *reply != request + " 4 1 0") {
          state.SkipWithError("a request the port rule settles was not answered by it");
          return;
        }
        settledMicros.push_back(duration<double, std::micro>(steady_clock::now() - sentAt).count());
      }
      // A new port and a new address each time, so that no earlier answer settles it.
      const std::string address = (i < 250 ? "198.51.100." : "203.0.113.") + std::to_string(1 + i % 250);
      const int port = 20000 + static_cast<int>(i);
      const std::string request = agent.line(id++, address, port);
      const auto sentAt = steady_clock::now();
      agent.daemon.sendLine(request);
      const auto opened = agent.console.waitFor(
          "[alert ", " " + address + " on port " + std::to_string(port), kReplyTimeout);
      if (!opened) {
        state.SkipWithError("an alert did not open");
        return;
      }
      openingMicros.push_back(duration<double, std::micro>(opened->second - sentAt).count());
      const bool pass = i % 2 == 0;
      agent.console.say(pass ? "pass port" : "block address");
      const auto reply = agent.daemon.receive(kReplyTimeout);
      if (!reply || *reply != request + (pass ? " 4 1 0" : " 4 0 1") ||
          !agent.console.waitFor("[alert ", "] answered", kReplyTimeout)) {
        state.SkipWithError("an alert's answer did not come back as its reply");
        return;
      }
    }
    state.SetIterationTime(duration<double>(steady_clock::now() - start).count());
    const double settledP50 = percentile(settledMicros, 0.5), openingP50 = percentile(openingMicros, 0.5);
    const double settledP99 = percentile(settledMicros, 0.99), openingP99 = percentile(openingMicros, 0.99);
    state.counters["alerts"] = static_cast<double>(openingMicros.size());
    state.counters["settled_round_trips"] = static_cast<double>(settledMicros.size());
    state.counters["opening_p50_us"] = openingP50;
    state.counters["opening_p99_us"] = openingP99;
    state.counters["settled_p50_us"] = settledP50;
    state.counters["settled_p99_us"] = settledP99;
    state.counters["p50_ratio"] = openingP50 / settledP50;
    state.counters["p99_ratio"] = openingP99 / settledP99;
  }
}

}  // namespace

BENCHMARK(BM_HeldRequests)->Arg(10000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AlertOpening)->Arg(200)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
