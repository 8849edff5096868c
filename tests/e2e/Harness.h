#pragma once
// What the end-to-end tests stand on: a private D-Bus daemon in the place of the system bus (started
// once for the whole run, and inherited by every child through DBUS_SYSTEM_BUS_ADDRESS), a
// temporary system root, the real agent binary started in it, and a recorder of notifications.

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/DistributedNotificationCenter.h"
#include "runtime/AgentLoop.h"
#include "runtime/LineLogger.h"
#include "runtime/Paths.h"

namespace halvex {
class DbusNotificationCenter;
}

namespace halvex::e2e {

using Environment = std::map<std::string, std::string>;

// Polls `condition` until it holds or `timeout` passes; the answer is its last value.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));
std::string readFile(const std::string& path);

// A fresh directory standing for the system root, with the installation's socket folders and a
// home for the per-user files.
class TempRoot {
 public:
  explicit TempRoot(bool withSocketDirectories = true);
  ~TempRoot();
  const std::string& path() const { return path_; }
  std::string home() const { return path_ + "/home"; }
  Paths paths() const;
  std::string readLog() const { return readFile(paths().agentLogFile()); }

 private:
  std::string path_;
};

// A child process with its output captured to a file, its input read from `inputFile` (a FIFO,
// say) when one is named; killed if still running at the end.
class Child {
 public:
  Child(const std::vector<std::string>& argv, const Environment& extraEnv, std::string outputFile,
        const std::string& inputFile = {});
  ~Child();
  pid_t pid() const { return pid_; }
  void signal(int signal) const;
  // The exit status (or 128 + signal), or -1 if it did not end in time.
  int wait(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));
  bool running();
  std::string output() const { return readFile(outputFile_); }
  // Whether `text` shows in the output within `timeout`.
  bool prints(const std::string& text, std::chrono::milliseconds timeout = std::chrono::milliseconds(10000)) const {
    return waitUntil([&] { return output().find(text) != std::string::npos; }, timeout);
  }

 private:
  pid_t pid_ = -1;
  int status_ = -1;
  std::string outputFile_;
};

// The agent binary, headless, in `root`; extraEnv adds to (or replaces in) its environment.
class Agent : public Child {
 public:
  explicit Agent(const TempRoot& root, Environment extraEnv = {}, const std::string& inputFile = {});
};

// Records the distributed notifications seen on the private bus.
class NotificationRecorder {
 public:
  NotificationRecorder();
  ~NotificationRecorder();
  std::vector<DistributedNotification> all();
  std::size_t count(const std::string& name);
  bool waitFor(const std::string& name, std::chrono::milliseconds timeout = std::chrono::milliseconds(5000));

 private:
  AgentLoop loop_;
  std::thread thread_;
  LineLogger logger_;
  std::unique_ptr<DbusNotificationCenter> center_;
  std::mutex mutex_;
  std::vector<DistributedNotification> seen_;
};

// A process that sleeps until killed: a real pid to ask about.
std::unique_ptr<Child> startSleeper();

}  // namespace halvex::e2e
