#pragma once
// The small ports a test world needs beside the bigger fakes: processes and their owners, the
// running programs, standard streams, bundle names, file icons, host names, the machine's users,
// signatures, the reachability probe and the process runner, each answering what the test set. A
// process end throws, so a test sees it.

#include <time.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/BundleInfo.h"
#include "platform/CodeSignatures.h"
#include "platform/FileIcons.h"
#include "platform/HostNames.h"
#include "platform/ProcessControl.h"
#include "platform/ProcessInfo.h"
#include "platform/ProcessOwners.h"
#include "platform/ProcessRunner.h"
#include "platform/RunningApplications.h"
#include "platform/StandardStreams.h"
#include "platform/SystemUsers.h"
#include "platform/TcpProbe.h"
#include "platform/WallClock.h"

namespace halvex::test {

// Answers a test sets, read by the agent's threads.
template <class Key, class Value>
class Table {
 public:
  void set(const Key& key, Value value) {
    std::lock_guard lock(mutex_);
    values_[key] = std::move(value);
  }
  std::optional<Value> find(const Key& key) const {
    std::lock_guard lock(mutex_);
    const auto it = values_.find(key);
    return it == values_.end() ? std::nullopt : std::optional<Value>(it->second);
  }

 private:
  mutable std::mutex mutex_;
  std::map<Key, Value> values_;
};

class FakeProcessInfo final : public ProcessInfo, Table<std::int32_t, std::pair<std::string, std::int32_t>> {
 public:
  void add(std::int32_t pid, std::string path, std::int32_t uid) { set(pid, {std::move(path), uid}); }
  std::optional<std::string> executablePath(std::int32_t pid) const override {
    const auto process = find(pid);
    return process ? std::optional(process->first) : std::nullopt;
  }
  std::optional<std::int32_t> effectiveUid(std::int32_t pid) const override {
    const auto process = find(pid);
    return process ? std::optional(process->second) : std::nullopt;
  }
};

struct ProcessExited : std::runtime_error {
  explicit ProcessExited(int s) : std::runtime_error("exit " + std::to_string(s)), status(s) {}
  int status;
};

struct ProcessAborted : std::runtime_error {
  explicit ProcessAborted(const std::string& m) : std::runtime_error(m) {}
};

class ThrowingProcessControl final : public ProcessControl {
 public:
  [[noreturn]] void exitProcess(int status) override { throw ProcessExited(status); }
  [[noreturn]] void fatal(const std::string& message) override { throw ProcessAborted(message); }
};

class FakeProcessOwners final : public ProcessOwners {
 public:
  std::map<std::int32_t, std::string> names, reports;
  std::optional<std::int32_t> console;

  std::optional<std::string> userName(std::int32_t uid) const override { return lookup(names, uid); }
  std::optional<std::int32_t> consoleUser() const override { return console; }
  std::string serviceReport(std::int32_t pid) const override { return lookup(reports, pid).value_or(""); }

 private:
  static std::optional<std::string> lookup(const std::map<std::int32_t, std::string>& map, std::int32_t key) {
    const auto it = map.find(key);
    return it == map.end() ? std::nullopt : std::optional(it->second);
  }
};

// This agent, and whatever else the test says runs.
class FakeRunningApplications final : public RunningApplications, Table<int, std::vector<std::string>> {
 public:
  void alsoRunning(std::vector<std::string> names) { set(0, std::move(names)); }
  std::vector<std::string> localizedNames() const override {
    std::vector<std::string> names{"Halvex"};
    for (auto& name : find(0).value_or(std::vector<std::string>{})) names.push_back(std::move(name));
    return names;
  }
};

// The calendar stands where the test puts it; dates are written in UTC as "YYYY-MM-DD HH:MM:SS".
class FakeWallClock final : public WallClock {
 public:
  void set(TimePoint time) { nanos_ = time.time_since_epoch().count(); }
  TimePoint now() const override { return TimePoint(TimePoint::duration(nanos_.load())); }
  std::string localDateText(TimePoint time) const override {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc));
  }

 private:
  std::atomic<TimePoint::rep> nanos_{TimePoint(std::chrono::seconds(1479200000)).time_since_epoch().count()};
};

class FakeStandardStreams final : public StandardStreams {
 public:
  bool redirectStandardError(const std::string&) override { return true; }
};

class MapBundleInfo final : public BundleInfo, public Table<std::string, std::string> {
 public:
  std::optional<std::string> localizedDisplayName(const std::string& path) const override { return find(path); }
};

// A file not in the table gets "text-x-generic".
class FakeFileIcons final : public FileIcons, public Table<std::string, std::string> {
 public:
  std::string iconNameForFile(const std::string& path) const override { return find(path).value_or("text-x-generic"); }
};

class FakeSystemUsers final : public SystemUsers, Table<int, std::vector<SystemUser>> {
 public:
  void set(std::vector<SystemUser> users) { Table::set(0, std::move(users)); }
  std::vector<SystemUser> systemUsers() const override { return find(0).value_or(std::vector<SystemUser>{}); }
};

class FakeHostNames final : public HostNames, public Table<std::string, std::vector<std::string>> {
 public:
  std::vector<std::string> namesForAddress(const std::string& address) const override {
    return find(address).value_or(std::vector<std::string>{});
  }
};

// Reports set per path and query; a path with nothing set is "not signed".
class FakeCodeSignatures final : public CodeSignatures {
 public:
  void set(const std::string& path, SignatureQuery query, std::string report) {
    reports_.set({path, query}, std::move(report));
  }
  std::string inspect(const std::string& path, SignatureQuery query) override {
    ++calls_;
    return reports_.find({path, query}).value_or(path + ": code object is not signed at all\n");
  }
  int calls() const { return calls_; }

 private:
  Table<std::pair<std::string, SignatureQuery>, std::string> reports_;
  std::atomic<int> calls_{0};
};

// The answer is the test's; what was asked is read once the answer has reached the main loop.
class FakeTcpProbe final : public TcpProbe {
 public:
  std::atomic<bool> reachable{false};
  std::string lastHost;
  std::chrono::milliseconds lastTimeout{0};
  bool canConnect(const std::string& host, std::uint16_t, std::chrono::milliseconds timeout) override {
    lastHost = host;
    lastTimeout = timeout;
    return reachable;
  }
};

// A program that ran to its end.
inline ProcessResult exited(int status, std::string output = {}) { return {true, false, status, std::move(output)}; }

// Each request is recorded; the answer comes from a handler the test sets (by default: exit 0, no
// output).
class FakeProcessRunner final : public ProcessRunner {
 public:
  using Handler = std::function<ProcessResult(const ProcessRequest&)>;

  void answer(Handler handler) {
    std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
  }
  // Shorthand: every request gets this result.
  void answerWith(ProcessResult result) {
    answer([result](const ProcessRequest&) { return result; });
  }
  ProcessResult run(const ProcessRequest& request) override {
    Handler handler;
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(request);
      handler = handler_;
    }
    return handler(request);
  }
  std::vector<ProcessRequest> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  mutable std::mutex mutex_;
  Handler handler_ = [](const ProcessRequest&) { return exited(0); };
  std::vector<ProcessRequest> requests_;
};

}  // namespace halvex::test
