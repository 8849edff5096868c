#include "platform/linux/LinuxProcessRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

extern char** environ;

namespace halvex {
namespace {

using Clock = std::chrono::steady_clock;

int exitStatusOf(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return -1;
}

int millisUntil(Clock::time_point when) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(when - Clock::now()).count();
  return left < 0 ? 0 : static_cast<int>(left);
}

class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  ~Fd() { reset(); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  void reset() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

}  // namespace

LinuxProcessRunner::LinuxProcessRunner(std::chrono::milliseconds lingering) : lingering_(lingering) {}

ProcessResult LinuxProcessRunner::run(const ProcessRequest& request) {
  ProcessResult result;
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return result;
  Fd readEnd(ends[0]);
  Fd writeEnd(ends[1]);

  std::vector<std::string> argvStorage;
  argvStorage.reserve(request.arguments.size() + 1);
  argvStorage.push_back(request.launchPath);
  for (const auto& a : request.arguments) argvStorage.push_back(a);
  std::vector<char*> argv;
  argv.reserve(argvStorage.size() + 1);
  for (auto& a : argvStorage) argv.push_back(a.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDOUT_FILENO);
  if (request.joinStandardError) posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDERR_FILENO);
  else posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  // The child gets default signal handling and a process group of its own.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  sigaddset(&defaults, SIGCHLD);
  sigaddset(&defaults, SIGTERM);
  sigaddset(&defaults, SIGINT);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);

  pid_t pid = -1;
  const int spawned = ::posix_spawn(&pid, request.launchPath.c_str(), &actions, &attributes, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  writeEnd.reset();
  if (spawned != 0) return result;
  result.launched = true;

  const std::optional<Clock::time_point> deadline =
      request.timeout ? std::optional(Clock::now() + *request.timeout) : std::nullopt;
  std::optional<Clock::time_point> lingerUntil;
  bool endOfOutput = false;
  bool exited = false;
  std::optional<Fd> exitWatch;
  int status = 0;
  char buffer[65536];

  // Drain the pipe while the child runs; notice its end between reads.
  for (;;) {
    if (!exited) {
      const pid_t r = ::waitpid(pid, &status, WNOHANG);
      if (r == pid || (r < 0 && errno == ECHILD)) {
        exited = true;
        if (r != pid) status = -1;
        lingerUntil = Clock::now() + lingering_;
      }
    }
    if (exited && endOfOutput) break;
    if (deadline && Clock::now() >= *deadline) {
      result.timedOut = true;
      ::kill(-pid, SIGKILL);
      if (!exited) {
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        exited = true;
      }
      break;
    }
    if (exited && lingerUntil && Clock::now() >= *lingerUntil) break;

    int slice = 50;
    if (deadline) slice = std::min(slice, millisUntil(*deadline));
    if (lingerUntil) slice = std::min(slice, millisUntil(*lingerUntil));
    if (endOfOutput) {
      // Output closed, program still running: wait for its end in short steps.
      if (!deadline) {
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        exited = true;
        continue;
      }
      // The process's own descriptor turns readable at its end: no polling steps, whose length
      // would be added to every short command.
      if (!exitWatch) exitWatch.emplace(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
      if (exitWatch->get() >= 0) {
        pollfd e{exitWatch->get(), POLLIN, 0};
        ::poll(&e, 1, slice);
      } else {
        ::poll(nullptr, 0, std::min(slice, 5));
      }
      continue;
    }
    pollfd p{readEnd.get(), POLLIN, 0};
    const int ready = ::poll(&p, 1, slice);
    if (ready < 0 && errno != EINTR) break;
    if (ready <= 0) continue;
    const ssize_t n = ::read(readEnd.get(), buffer, sizeof buffer);
    if (n > 0) {
      result.output.append(buffer, static_cast<std::size_t>(n));
    } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
      endOfOutput = true;
    }
  }
  result.exitStatus = result.timedOut ? -1 : (status == -1 ? -1 : exitStatusOf(status));
  return result;
}

}  // namespace halvex
