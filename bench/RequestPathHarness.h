#pragma once
// What the request-path benchmarks share: a temporary system root, an echo peer bound at the
// agent's socket (the baselines), the real agent as a child process, request lines, and the
// figures reported for one run.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <thread>

#include "platform/linux/LinuxProcessInfo.h"
#include "runtime/Paths.h"
#include "standin/DaemonPeer.h"

extern char** environ;

namespace halvex::bench {

using namespace std::chrono;

constexpr std::size_t kWindow = 4;  // below net.unix.max_dgram_qlen (10 here)

struct Root {
  std::string path;
  Root() {
    char dir[] = "/tmp/hxb.XXXXXX";
    path = ::mkdtemp(dir);
    std::filesystem::create_directories(path + "/home");
  }
  ~Root() { std::filesystem::remove_all(path); }
  Paths paths() const {
    PathEnvironment env;
    env.root = path;
    env.home = path + "/home";
    env.xdgStateHome = path + "/home/state";
    env.xdgConfigHome = path + "/home/config";
    return Paths(env);
  }
};

// An echo peer bound at the agent's path: what the agent would be with no work at all.
class Echo {
 public:
  Echo(const std::string& agentPath, const std::string& daemonPath, bool lookUps)
      : daemonPath_(daemonPath), lookUps_(lookUps) {
    fd_ = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    ::unlink(agentPath.c_str());
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, agentPath.c_str(), 103);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) std::abort();
    agentPath_ = agentPath;
    thread_ = std::thread([this] { run(); });
  }
  ~Echo() {
    ::shutdown(fd_, SHUT_RDWR);
    thread_.join();
    ::close(fd_);
    ::unlink(agentPath_.c_str());
  }

 private:
  void run() {
    LinuxProcessInfo processes;
    sockaddr_un d{};
    d.sun_family = AF_UNIX;
    std::strncpy(d.sun_path, daemonPath_.c_str(), 103);
    char buffer[128];
    while (::recv(fd_, buffer, 128, MSG_WAITALL) > 0) {
      std::string line(buffer, ::strnlen(buffer, 128));
      if (lookUps_) {
        // The fourth field is the pid, as in a request.
        int field = 0;
        std::size_t at = 0;
        while (field < 3 && (at = line.find(' ', at)) != std::string::npos) ++field, ++at;
        const int pid = std::atoi(line.c_str() + at);
        benchmark::DoNotOptimize(processes.executablePath(pid));
        benchmark::DoNotOptimize(processes.effectiveUid(pid));
      }
      line += " 0 # #";
      char reply[128] = {};
      std::memcpy(reply, line.data(), std::min<std::size_t>(line.size(), 127));
      ::sendto(fd_, reply, 128, 0, reinterpret_cast<sockaddr*>(&d), sizeof d);
    }
  }
  std::string agentPath_, daemonPath_;
  bool lookUps_;
  int fd_ = -1;
  std::thread thread_;
};

// Starts an agent binary headless in `root`, its input and output on the given descriptors, or on
// /dev/null where none is given.
inline pid_t spawnAgent(const Root& root, const std::string& binary, int input = -1, int output = -1) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) env.emplace_back(*e);
  env.push_back("HALVEX_ROOT=" + root.path);
  env.push_back("HOME=" + root.path + "/home");
  env.push_back("XDG_STATE_HOME=" + root.path + "/home/state");
  env.push_back("XDG_CONFIG_HOME=" + root.path + "/home/config");
  std::vector<char*> envp;
  for (auto& s : env) envp.push_back(s.data());
  envp.push_back(nullptr);
  std::string bin = binary, headless = "--headless";
  char* argv[] = {bin.data(), headless.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (input >= 0) {
    posix_spawn_file_actions_adddup2(&actions, input, 0);
  } else {
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  }
  if (output >= 0) {
    posix_spawn_file_actions_adddup2(&actions, output, 1);
  } else {
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  }
  pid_t pid = -1;
  if (posix_spawn(&pid, argv[0], &actions, nullptr, argv, envp.data()) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

class AgentProcess {
 public:
  explicit AgentProcess(const Root& root, int input = -1, int output = -1)
      : pid_(spawnAgent(root, HALVEX_AGENT_BIN, input, output)) {
    standin::waitForFile(root.paths().agentSocket(), seconds(10));
    std::this_thread::sleep_for(milliseconds(300));
  }
  ~AgentProcess() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

inline std::vector<std::string> requestLines(std::size_t n, pid_t pid) {
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < n; ++i)
    lines.push_back(std::to_string(100000 + i) + " 192.0.2." + std::to_string(1 + i % 250) + " 443 " +
                    std::to_string(pid) + " TCP 4 0");
  return lines;
}

inline std::map<std::string, double> baselineRate;

inline void report(benchmark::State& state, const std::vector<standin::Exchange>& results, double seconds,
                   const char* name) {
  std::vector<double> micros;
  for (const auto& r : results)
    if (r.reply) micros.push_back(duration<double, std::micro>(r.latency).count());
  std::sort(micros.begin(), micros.end());
  const double rate = static_cast<double>(micros.size()) / seconds;
  state.counters["req_per_s"] = rate;
  state.counters["p50_us"] = micros.empty() ? 0 : micros[micros.size() / 2];
  state.counters["p99_us"] = micros.empty() ? 0 : micros[micros.size() * 99 / 100];
  state.counters["answered"] = static_cast<double>(micros.size());
  state.counters["sent"] = static_cast<double>(results.size());
  baselineRate[name] = rate;
  if (baselineRate.count("echo")) state.counters["ratio_to_echo"] = rate / baselineRate["echo"];
  if (baselineRate.count("echo_lookups")) state.counters["ratio_to_echo_lookups"] = rate / baselineRate["echo_lookups"];
}

// Runs `lines` through the daemon's side with a window of outstanding requests and reports.
inline void exchangeAndReport(benchmark::State& state, standin::DaemonPeer& daemon,
                              const std::vector<std::string>& lines, const char* name) {
  for (auto _ : state) {
    const auto start = steady_clock::now();
    auto results = daemon.exchange(lines, kWindow, milliseconds(5000));
    const double seconds = duration<double>(steady_clock::now() - start).count();
    state.SetIterationTime(seconds);
    report(state, results, seconds, name);
  }
}

}  // namespace halvex::bench
