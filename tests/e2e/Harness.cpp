#include "e2e/Harness.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/linux/DbusNotificationCenter.h"
#include "standin/DaemonPeer.h"

extern char** environ;

namespace halvex::e2e {
namespace {

std::vector<char*> cStrings(std::vector<std::string>& items) {
  std::vector<char*> out;
  for (auto& s : items) out.push_back(s.data());
  out.push_back(nullptr);
  return out;
}

std::string temporaryDirectory(std::string pattern) {
  if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp");
  return pattern;
}

}  // namespace

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
  const auto until = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < until) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return condition();
}

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

namespace {

class PrivateBus final : public ::testing::Environment {
  void SetUp() override {
    const std::string socket = temporaryDirectory("/tmp/hxbus.XXXXXX") + "/bus";
    const std::string address = "unix:path=" + socket;
    // The session configuration lets every local process send and receive signals, which is what
    // the system bus grants to the daemon and the agent.
    bus_ = std::make_unique<Child>(
        std::vector<std::string>{"dbus-daemon", "--session", "--address=" + address, "--nofork", "--nopidfile"},
        e2e::Environment{}, "/dev/null");
    if (!standin::waitForFile(socket, std::chrono::milliseconds(10000)))
      throw std::runtime_error("dbus-daemon did not start");
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
  }
  void TearDown() override { bus_.reset(); }
  std::unique_ptr<Child> bus_;
};

[[maybe_unused]] const auto* const privateBus = ::testing::AddGlobalTestEnvironment(new PrivateBus);

}  // namespace

// Short: the socket paths under it must fit a socket address.
TempRoot::TempRoot(bool withSocketDirectories) : path_(temporaryDirectory("/tmp/hx.XXXXXX")) {
  std::filesystem::create_directories(home());
  if (withSocketDirectories) {
    standin::makeSocketDirectories(paths().agentSocket());
    standin::makeSocketDirectories(paths().daemonSocket());
  }
}

TempRoot::~TempRoot() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

Paths TempRoot::paths() const { return Paths({path_, home(), home() + "/.config", home() + "/.local/state", {}}); }

Child::Child(const std::vector<std::string>& argv, const Environment& extraEnv, std::string outputFile,
             const std::string& inputFile)
    : outputFile_(std::move(outputFile)) {
  std::vector<std::string> envStrings, args = argv;
  for (char** e = environ; *e; ++e) {
    const std::string entry = *e;
    if (!extraEnv.contains(entry.substr(0, entry.find('=')))) envStrings.push_back(entry);
  }
  for (const auto& [k, v] : extraEnv) envStrings.push_back(k + "=" + v);
  auto envp = cStrings(envStrings);
  auto cargv = cStrings(args);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, outputFile_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  if (!inputFile.empty()) posix_spawn_file_actions_addopen(&actions, 0, inputFile.c_str(), O_RDONLY, 0);
  const int r = posix_spawnp(&pid_, args[0].c_str(), &actions, nullptr, cargv.data(), envp.data());
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
  if (::waitpid(pid_, &status, WNOHANG) == 0) return true;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return false;
}

int Child::wait(std::chrono::milliseconds timeout) {
  return waitUntil([this] { return !running(); }, timeout) ? status_ : -1;
}

namespace {
Environment agentEnvironment(const TempRoot& root, Environment extraEnv) {
  Environment env{{"HALVEX_ROOT", root.path()},
                  {"HOME", root.home()},
                  {"XDG_CONFIG_HOME", root.home() + "/.config"},
                  {"XDG_STATE_HOME", root.home() + "/.local/state"}};
  for (auto& [key, value] : extraEnv) env[key] = std::move(value);
  return env;
}
int agentsStarted = 0;
}  // namespace

Agent::Agent(const TempRoot& root, Environment extraEnv, const std::string& inputFile)
    : Child({HALVEX_AGENT_BIN, "--headless"}, agentEnvironment(root, std::move(extraEnv)),
            root.path() + "/agent-" + std::to_string(++agentsStarted) + ".out", inputFile) {}

NotificationRecorder::NotificationRecorder() : logger_("recorder", 0) {
  thread_ = std::thread([this] { loop_.run(); });
  center_ = std::make_unique<DbusNotificationCenter>(loop_, logger_);
  for (const char* name : {"startKext", "startAgent", "stopKext", "writeHalvexConfiguration", "newAppListReceived",
                           "loadKext", "unloadKext"}) {
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

std::size_t NotificationRecorder::count(const std::string& name) {
  std::lock_guard lock(mutex_);
  return std::ranges::count(seen_, name, &DistributedNotification::name);
}

bool NotificationRecorder::waitFor(const std::string& name, std::chrono::milliseconds timeout) {
  return waitUntil([&] { return count(name) > 0; }, timeout);
}

std::unique_ptr<Child> startSleeper() {
  return std::make_unique<Child>(std::vector<std::string>{"/bin/sleep", "60"}, Environment{}, "/dev/null");
}

}  // namespace halvex::e2e
