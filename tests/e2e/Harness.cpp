#include "e2e/Harness.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "platform/linux/DbusNotificationCenter.h"
#include "standin/DaemonPeer.h"

extern char** environ;

namespace halvex::e2e {
namespace {

using Clock = std::chrono::steady_clock;

std::vector<char*> cStrings(std::vector<std::string>& items) {
  std::vector<char*> out;
  for (auto& s : items) out.push_back(s.data());
  out.push_back(nullptr);
  return out;
}

}  // namespace

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

PrivateBus::PrivateBus() {
  char dir[] = "/tmp/hxbus.XXXXXX";
  if (!::mkdtemp(dir)) throw std::runtime_error("mkdtemp");
  // The session configuration lets every local process send and receive signals, which is what
  // the system bus grants to the daemon and the agent.
  std::vector<std::string> args{"dbus-daemon", "--session", std::string("--address=unix:path=") + dir + "/bus",
                                "--nofork", "--nopidfile"};
  auto argv = cStrings(args);
  if (posix_spawnp(&pid_, "dbus-daemon", nullptr, nullptr, argv.data(), environ) != 0)
    throw std::runtime_error("cannot start dbus-daemon");
  address_ = std::string("unix:path=") + dir + "/bus";
  if (!standin::waitForFile(std::string(dir) + "/bus", std::chrono::milliseconds(10000)))
    throw std::runtime_error("dbus-daemon did not start");
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
  if (pid_ > 0) {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
}

TempRoot::TempRoot(bool withSocketDirectories) {
  // Short: the socket paths under it must fit a socket address.
  char dir[] = "/tmp/hx.XXXXXX";
  if (!::mkdtemp(dir)) throw std::runtime_error("mkdtemp");
  path_ = dir;
  std::filesystem::create_directories(home());
  if (withSocketDirectories) {
    const Paths p = paths();
    standin::makeSocketDirectories(p.agentSocket());
    standin::makeSocketDirectories(p.daemonSocket());
  }
}

TempRoot::~TempRoot() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

Paths TempRoot::paths() const {
  PathEnvironment env;
  env.root = path_;
  env.home = home();
  env.xdgConfigHome = home() + "/.config";
  env.xdgStateHome = home() + "/.local/state";
  return Paths(env);
}

std::string TempRoot::readLog() const { return readFile(paths().agentLogFile()); }

Child::Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& extraEnv,
             const std::string& outputFile) {
  std::map<std::string, std::string> env;
  for (char** e = environ; *e; ++e) {
    const std::string entry = *e;
    const auto eq = entry.find('=');
    if (eq != std::string::npos) env[entry.substr(0, eq)] = entry.substr(eq + 1);
  }
  for (const auto& [k, v] : extraEnv) env[k] = v;
  std::vector<std::string> envStrings;
  for (const auto& [k, v] : env) envStrings.push_back(k + "=" + v);
  auto envp = cStrings(envStrings);
  std::vector<std::string> args = argv;
  auto cargv = cStrings(args);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  const int r = posix_spawn(&pid_, args[0].c_str(), &actions, nullptr, cargv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (r != 0) throw std::runtime_error("cannot start " + args[0] + ": " + std::strerror(r));
}

Child::~Child() {
  if (running()) {
    ::kill(pid_, SIGKILL);
    wait();
  }
}

void Child::signal(int s) const { ::kill(pid_, s); }

bool Child::running() {
  if (status_ != -1) return false;
  int status = 0;
  const pid_t r = ::waitpid(pid_, &status, WNOHANG);
  if (r == 0) return true;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return false;
}

int Child::wait(std::chrono::milliseconds timeout) {
  const auto end = Clock::now() + timeout;
  while (running()) {
    if (Clock::now() > end) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return status_;
}

Agent::Agent(const TempRoot& root, std::map<std::string, std::string> extraEnv) : root_(root) {
  outputFile_ = root.path() + "/agent-" + std::to_string(Clock::now().time_since_epoch().count()) + ".out";
  std::map<std::string, std::string> env{{"HALVEX_ROOT", root.path()},
                                         {"HOME", root.home()},
                                         {"XDG_CONFIG_HOME", root.home() + "/.config"},
                                         {"XDG_STATE_HOME", root.home() + "/.local/state"}};
  for (auto& [key, value] : extraEnv) env[key] = std::move(value);
  child_ = std::make_unique<Child>(std::vector<std::string>{HALVEX_AGENT_BIN, "--headless"}, env, outputFile_);
}

std::string Agent::output() const { return readFile(outputFile_); }

bool Agent::waitForSocket(std::chrono::milliseconds timeout) const {
  return standin::waitForFile(root_.paths().agentSocket(), timeout);
}

NotificationRecorder::NotificationRecorder() : logger_("recorder", 0) {
  thread_ = std::thread([this] { loop_.run(); });
  center_ = std::make_unique<DbusNotificationCenter>(loop_, logger_);
  for (const char* name : {"startKext", "startAgent", "stopKext", "writeHalvexConfiguration", "newAppListReceived"}) {
    center_->addObserver(name, "", [this](const DistributedNotification& n) {
      std::lock_guard lock(mutex_);
      seen_.push_back(n);
    });
  }
}

NotificationRecorder::~NotificationRecorder() {
  center_.reset();
  loop_.quit();
  thread_.join();
}

std::vector<DistributedNotification> NotificationRecorder::all() {
  std::lock_guard lock(mutex_);
  return seen_;
}

std::vector<std::string> NotificationRecorder::names() {
  std::vector<std::string> out;
  for (const auto& n : all()) out.push_back(n.name);
  return out;
}

bool NotificationRecorder::waitFor(const std::string& name, std::chrono::milliseconds timeout) {
  const auto end = Clock::now() + timeout;
  for (;;) {
    for (const auto& n : names())
      if (n == name) return true;
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

std::unique_ptr<Child> startSleeper() {
  return std::make_unique<Child>(std::vector<std::string>{"/bin/sleep", "60"}, std::map<std::string, std::string>{},
                                 "/dev/null");
}

}  // namespace halvex::e2e
