// The connection log under load: the real agent with logging and the log file on, connection
// records sent to its event socket on a private bus of its own.
//
// Ingest: records built and file lines written per second, from the first record sent to the last
// "[CONN]" line in the agent's log, against a baseline that does only what no log can skip: the
// bare receive of the same 156-byte records, the two /proc look-ups of each record's pid, and one
// signal round trip on the same bus. Baseline and agent take turns, five rounds; the medians and
// the spread are reported.
//
// RequestsUnderEvents: rule-settled requests while records arrive as fast as the agent takes them,
// against the same requests with no records, interleaved; the p99 of each and their ratio.
//
// MemoryPerRecord: records at 1,000 per second under the default 30 s time to live. Before the
// first purge every record stays, so the resident growth between 10 s and 28 s, over the records
// written meanwhile, is the cost of one; after 40 s the purge holds the list level, and the growth
// over the last ten seconds is reported beside it.

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <fstream>
#include <mutex>

#include "RequestPathHarness.h"
#include "configuration/ConfigurationSnapshot.h"
#include "platform/linux/DbusNotificationCenter.h"
#include "runtime/AgentLoop.h"
#include "runtime/LineLogger.h"
#include "runtime/PlistIO.h"

using namespace halvex;
using namespace halvex::bench;

namespace {

using plist::Array;
using plist::Dictionary;
using plist::Value;

constexpr std::size_t kRecordSize = 156;
constexpr std::int32_t kEventCode = 4242;
constexpr int kRounds = 5;
constexpr std::size_t kIngestRecords = 1000;
constexpr std::size_t kEventWindow = 64;

// A private bus for the whole run, in the place of the system bus, inherited by the agent.
class PrivateBus {
 public:
  PrivateBus() {
    char dir[] = "/tmp/hxbus.XXXXXX";
    directory_ = ::mkdtemp(dir);
    const std::string socket = directory_ + "/bus";
    const std::string address = "unix:path=" + socket;
    std::string bin = "dbus-daemon", session = "--session", addressArg = "--address=" + address, nofork = "--nofork",
                nopid = "--nopidfile";
    char* argv[] = {bin.data(), session.data(), addressArg.data(), nofork.data(), nopid.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    if (posix_spawnp(&pid_, argv[0], &actions, nullptr, argv, environ) != 0) std::abort();
    posix_spawn_file_actions_destroy(&actions);
    if (!standin::waitForFile(socket, seconds(10))) std::abort();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
  }
  ~PrivateBus() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
    std::filesystem::remove_all(directory_);
  }

 private:
  std::string directory_;
  pid_t pid_ = -1;
};

void ensureBus() { static PrivateBus bus; }

// Logging on and the log file written; alerts off, so requests of a known app are settled by rule.
void writeLoggingConfiguration(const Root& root) {
  const std::string path = root.paths().confPath();
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  const Array records{Value(Dictionary{{"HalvexClassName", Value("HXPreferences")},
                                       {"enableNotifications", Value(false)},
                                       {"automaticXPC", Value(true)},
                                       {"activateLogging", Value(true)},
                                       {"loggaSuFile", Value(true)}})};
  std::ofstream(path) << plist::toXml(Value(Array{Value(encodedConfiguration(records, "bench"))}));
}

std::array<char, kRecordSize> recordOf(const std::string& line) {
  std::array<char, kRecordSize> record{};
  std::memcpy(record.data() + 20, &kEventCode, sizeof kEventCode);
  std::memcpy(record.data() + 24, line.data(), std::min<std::size_t>(line.size(), 127));
  return record;
}

// Passed and blocked lines in turn, of living processes (this one and its children).
std::vector<std::array<char, kRecordSize>> recordsFor(std::size_t n, const std::vector<pid_t>& pids) {
  std::vector<std::array<char, kRecordSize>> records;
  for (std::size_t i = 0; i < n; ++i) {
    std::string line =
        "0 192.0.2." + std::to_string(1 + i % 250) + " 443 " + std::to_string(pids[i % pids.size()]) + " 6 0";
    if (i % 2) line += " /usr/bin/sleep";
    records.push_back(recordOf(line));
  }
  return records;
}

// Sends records to a socket path; a full receiver makes the send wait, so nothing is lost.
class RecordSender {
 public:
  explicit RecordSender(const std::string& path) : fd_(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    to_.sun_family = AF_UNIX;
    std::strncpy(to_.sun_path, path.c_str(), sizeof to_.sun_path - 1);
  }
  ~RecordSender() { ::close(fd_); }
  bool send(const std::array<char, kRecordSize>& record) {
    return ::sendto(fd_, record.data(), record.size(), 0, reinterpret_cast<const sockaddr*>(&to_), sizeof to_) ==
           static_cast<ssize_t>(record.size());
  }

 private:
  int fd_;
  sockaddr_un to_{};
};

// Counts the "[CONN]" lines the agent has written, reading only what is new since the last look.
class LogTail {
 public:
  explicit LogTail(std::string path) : path_(std::move(path)) {}
  std::size_t count() {
    std::ifstream in(path_, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(offset_));
    std::string chunk((std::istreambuf_iterator<char>(in)), {});
    const std::size_t usable = chunk.rfind('\n') == std::string::npos ? 0 : chunk.rfind('\n') + 1;
    for (std::size_t at = 0; (at = chunk.find("[CONN]", at)) != std::string::npos && at < usable; ++at) ++count_;
    offset_ += usable;
    return count_;
  }
  bool waitFor(std::size_t n, milliseconds timeout) {
    const auto until = steady_clock::now() + timeout;
    while (count() < n) {
      if (steady_clock::now() > until) return false;
      std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
  }

 private:
  std::string path_;
  std::size_t offset_ = 0;
  std::size_t count_ = 0;
};

// The work no log can skip, per record: receive, the two look-ups, one signal through the bus and
// back to a main loop.
class BareReceiver {
 public:
  explicit BareReceiver(const std::string& path) : path_(path), logger_("bench", 0), center_(loop_, logger_) {
    fd_ = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    ::unlink(path.c_str());
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) std::abort();
    center_.addObserver("benchconnections", "it.dovik.benchconnections", [this](const DistributedNotification&) {
      std::lock_guard lock(mutex_);
      ++delivered_;
      done_.notify_all();
    });
    loopThread_ = std::thread([this] { loop_.run(); });
    reader_ = std::thread([this] { read(); });
  }
  ~BareReceiver() {
    ::shutdown(fd_, SHUT_RDWR);
    reader_.join();
    ::close(fd_);
    loop_.quit();
    loopThread_.join();
    ::unlink(path_.c_str());
  }
  bool waitFor(std::size_t n, milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return done_.wait_for(lock, timeout, [&] { return delivered_ >= n; });
  }

 private:
  void read() {
    LinuxProcessInfo processes;
    char buffer[kRecordSize];
    while (::recv(fd_, buffer, sizeof buffer, 0) > 0) {
      const std::string line(buffer + 24, ::strnlen(buffer + 24, 128));
      std::size_t at = 0;
      for (int field = 0; field < 3 && (at = line.find(' ', at)) != std::string::npos; ++field) ++at;
      const int pid = std::atoi(line.c_str() + at);
      benchmark::DoNotOptimize(processes.executablePath(pid));
      benchmark::DoNotOptimize(processes.effectiveUid(pid));
      center_.postNotificationName("benchconnections", "it.dovik.benchconnections",
                                   Dictionary{{"connections", Value(line)}});
    }
  }
  std::string path_;
  AgentLoop loop_;
  LineLogger logger_;
  DbusNotificationCenter center_;
  int fd_ = -1;
  std::thread loopThread_, reader_;
  std::mutex mutex_;
  std::condition_variable done_;
  std::size_t delivered_ = 0;
};

// Children that sleep: living processes for the records to name.
struct Sleepers {
  std::vector<pid_t> pids;
  explicit Sleepers(int n) {
    for (int i = 0; i < n; ++i) {
      std::string bin = "/bin/sleep", time = "600";
      char* argv[] = {bin.data(), time.data(), nullptr};
      pid_t pid = -1;
      if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ) != 0) std::abort();
      pids.push_back(pid);
    }
  }
  ~Sleepers() {
    for (pid_t pid : pids) ::kill(pid, SIGKILL), ::waitpid(pid, nullptr, 0);
  }
};

// A running agent with logging on, and its event socket.
struct LoggingAgent {
  Root root;
  std::unique_ptr<AgentProcess> process;
  LoggingAgent() {
    ensureBus();
    writeLoggingConfiguration(root);
    standin::makeSocketDirectories(root.paths().agentSocket());
    standin::makeSocketDirectories(root.paths().daemonSocket());
    process = std::make_unique<AgentProcess>(root);
    if (!standin::waitForFile(root.paths().kernelEventSocket(), seconds(10))) std::abort();
  }
  std::string logFile() const { return root.paths().agentLogFile(); }
};

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

void spread(benchmark::State& state, const char* name, std::vector<double> v) {
  std::sort(v.begin(), v.end());
  state.counters[std::string(name) + "_min"] = v.front();
  state.counters[std::string(name) + "_max"] = v.back();
}

double sendAll(RecordSender& sender, const std::vector<std::array<char, kRecordSize>>& records,
               const std::function<bool()>& arrived) {
  const auto start = steady_clock::now();
  for (const auto& r : records)
    if (!sender.send(r)) std::abort();
  if (!arrived()) return 0;
  return static_cast<double>(records.size()) / duration<double>(steady_clock::now() - start).count();
}

void Ingest(benchmark::State& state) {
  Sleepers sleepers(4);
  LoggingAgent agent;
  Root bareRoot;
  BareReceiver bare(bareRoot.path + "/events");
  RecordSender toAgent(agent.root.paths().kernelEventSocket()), toBare(bareRoot.path + "/events");
  LogTail tail(agent.logFile());
  const auto records = recordsFor(kIngestRecords, sleepers.pids);
  std::vector<double> agentRates, bareRates, ratios;
  std::size_t bareSeen = 0, agentSeen = 0;
  for (auto _ : state) {
    // A warm-up of each, unmeasured.
    sendAll(toBare, records, [&] { return bare.waitFor(bareSeen += records.size(), milliseconds(60000)); });
    sendAll(toAgent, records, [&] { return tail.waitFor(agentSeen += records.size(), milliseconds(60000)); });
    for (int round = 0; round < kRounds; ++round) {
      bareRates.push_back(
          sendAll(toBare, records, [&] { return bare.waitFor(bareSeen += records.size(), milliseconds(60000)); }));
      agentRates.push_back(
          sendAll(toAgent, records, [&] { return tail.waitFor(agentSeen += records.size(), milliseconds(60000)); }));
      ratios.push_back(bareRates.back() > 0 ? agentRates.back() / bareRates.back() : 0);
    }
    state.SetIterationTime(1);
  }
  state.counters["agent_per_s"] = median(agentRates);
  state.counters["bare_per_s"] = median(bareRates);
  state.counters["ratio"] = median(ratios);
  spread(state, "ratio", ratios);
}

std::vector<double> latenciesMicros(const std::vector<standin::Exchange>& results) {
  std::vector<double> micros;
  for (const auto& r : results)
    if (r.reply) micros.push_back(duration<double, std::micro>(r.latency).count());
  std::sort(micros.begin(), micros.end());
  return micros;
}

double p99(const std::vector<double>& sorted) { return sorted.empty() ? 0 : sorted[sorted.size() * 99 / 100]; }

void RequestsUnderEvents(benchmark::State& state) {
  Sleepers sleepers(4);
  LoggingAgent agent;
  standin::DaemonPeer daemon(agent.root.paths().daemonSocket(), agent.root.paths().agentSocket());
  const auto lines = requestLines(2000, ::getpid());
  // The first request teaches the agent this program; every later one is settled by its rule.
  daemon.exchange({lines.front()}, 1, milliseconds(10000));
  const auto records = recordsFor(1000, sleepers.pids);
  std::vector<double> quiet, busy, ratios, eventsPerSecond;
  for (auto _ : state) {
    for (int round = 0; round < kRounds; ++round) {
      quiet.push_back(p99(latenciesMicros(daemon.exchange(lines, kWindow, milliseconds(5000)))));
      std::atomic<bool> stop{false};
      std::atomic<std::size_t> sent{0};
      // As fast as the agent takes them: a record goes out while fewer than a window of them wait
      // for their file line.
      std::thread feeder([&] {
        RecordSender sender(agent.root.paths().kernelEventSocket());
        LogTail tail(agent.logFile());
        const std::size_t base = tail.count();
        for (std::size_t i = 0; !stop; ++i) {
          while (!stop &&
                 static_cast<long>(sent) - static_cast<long>(tail.count() - base) >= static_cast<long>(kEventWindow))
            std::this_thread::sleep_for(microseconds(200));
          if (stop) break;
          sender.send(records[i % records.size()]);
          ++sent;
        }
      });
      const auto start = steady_clock::now();
      busy.push_back(p99(latenciesMicros(daemon.exchange(lines, kWindow, milliseconds(5000)))));
      eventsPerSecond.push_back(static_cast<double>(sent) / duration<double>(steady_clock::now() - start).count());
      stop = true;
      feeder.join();
      ratios.push_back(quiet.back() > 0 ? busy.back() / quiet.back() : 0);
    }
    state.SetIterationTime(1);
  }
  state.counters["p99_quiet_us"] = median(quiet);
  state.counters["p99_events_us"] = median(busy);
  state.counters["events_per_s"] = median(eventsPerSecond);
  state.counters["p99_ratio"] = median(ratios);
  spread(state, "p99_ratio", ratios);
}

long residentKb(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(in, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  return 0;
}

void MemoryPerRecord(benchmark::State& state) {
  Sleepers sleepers(4);
  LoggingAgent agent;
  LogTail tail(agent.logFile());
  RecordSender sender(agent.root.paths().kernelEventSocket());
  const auto records = recordsFor(1000, sleepers.pids);
  for (auto _ : state) {
    long rssAt10 = 0, rssAt28 = 0, rssAt40 = 0, rssAt50 = 0;
    std::size_t linesAt10 = 0, linesAt28 = 0;
    const auto start = steady_clock::now();
    std::size_t i = 0;
    for (int second = 1; second <= 50; ++second) {
      // 1,000 records spread over the second.
      for (int k = 0; k < 1000; ++k) {
        sender.send(records[i++ % records.size()]);
        std::this_thread::sleep_until(start + seconds(second - 1) + microseconds(1000 * (k + 1)));
      }
      if (second == 10) rssAt10 = residentKb(agent.process->pid()), linesAt10 = tail.count();
      if (second == 28) rssAt28 = residentKb(agent.process->pid()), linesAt28 = tail.count();
      if (second == 40) rssAt40 = residentKb(agent.process->pid());
      if (second == 50) rssAt50 = residentKb(agent.process->pid());
    }
    state.SetIterationTime(duration<double>(steady_clock::now() - start).count());
    const double records18s = static_cast<double>(linesAt28 - linesAt10);
    state.counters["records_10s_to_28s"] = records18s;
    state.counters["bytes_per_record"] =
        records18s > 0 ? static_cast<double>(rssAt28 - rssAt10) * 1024 / records18s : 0;
    state.counters["rss_28s_kb"] = static_cast<double>(rssAt28);
    state.counters["rss_40s_kb"] = static_cast<double>(rssAt40);
    state.counters["rss_50s_kb"] = static_cast<double>(rssAt50);
    state.counters["growth_40s_to_50s_kb"] = static_cast<double>(rssAt50 - rssAt40);
  }
}

}  // namespace

BENCHMARK(Ingest)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RequestsUnderEvents)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(MemoryPerRecord)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
