#pragma once
// What the end-to-end tests stand on: a private D-Bus daemon in the place of the system bus, a
// temporary system root, the real agent binary started in it, and a recorder of notifications.

#include <sys/types.h>

#include <chrono>
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

// A dbus-daemon of the tests' own; its address is put in DBUS_SYSTEM_BUS_ADDRESS of this process,
// so that children inherit it.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  const std::string& address() const { return address_; }

 private:
  pid_t pid_ = -1;
  std::string address_;
};

// A fresh directory standing for the system root, with the installation's socket folders and a
// home for the per-user files.
class TempRoot {
 public:
  explicit TempRoot(bool withSocketDirectories = true);
  ~TempRoot();
  const std::string& path() const { return path_; }
  std::string home() const { return path_ + "/home"; }
  Paths paths() const;
  std::string readLog() const;

 private:
  std::string path_;
};

// A child process with its output captured to a file.
class Child {
 public:
  Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& extraEnv,
        const std::string& outputFile);
  ~Child();
  pid_t pid() const { return pid_; }
  void signal(int signal) const;
  // The exit status (or 128 + signal), or -1 if it did not end in time.
  int wait(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));
  bool running();

 private:
  pid_t pid_ = -1;
  int status_ = -1;
};

class Agent {
 public:
  // extraEnv adds to (or replaces in) the agent's environment.
  explicit Agent(const TempRoot& root, std::map<std::string, std::string> extraEnv = {});
  Child& process() { return *child_; }
  std::string output() const;
  bool waitForSocket(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000)) const;

 private:
  const TempRoot& root_;
  std::string outputFile_;
  std::unique_ptr<Child> child_;
};

// Records the distributed notifications seen on the private bus.
class NotificationRecorder {
 public:
  NotificationRecorder();
  ~NotificationRecorder();
  std::vector<std::string> names();
  bool waitFor(const std::string& name, std::chrono::milliseconds timeout = std::chrono::milliseconds(5000));
  std::vector<DistributedNotification> all();

 private:
  AgentLoop loop_;
  std::thread thread_;
  LineLogger logger_;
  std::unique_ptr<DbusNotificationCenter> center_;
  std::mutex mutex_;
  std::vector<DistributedNotification> seen_;
};

std::string readFile(const std::string& path);
// A process that sleeps until killed: a real pid to ask about.
std::unique_ptr<Child> startSleeper();

}  // namespace halvex::e2e
