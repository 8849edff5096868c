#pragma once
// The small ports a test world needs beside the bigger fakes: process owners, the running
// programs, standard streams and bundle names, each answering what the test set.

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/BundleInfo.h"
#include "platform/ProcessOwners.h"
#include "platform/RunningApplications.h"
#include "platform/StandardStreams.h"

namespace halvex::test {

class FakeProcessOwners final : public ProcessOwners {
 public:
  std::map<std::int32_t, std::string> names;
  std::optional<std::int32_t> console;
  std::map<std::int32_t, std::string> reports;

  std::optional<std::string> userName(std::int32_t uid) const override {
    const auto it = names.find(uid);
    return it == names.end() ? std::nullopt : std::optional<std::string>(it->second);
  }
  std::optional<std::int32_t> consoleUser() const override { return console; }
  std::string serviceReport(std::int32_t pid) const override {
    const auto it = reports.find(pid);
    return it == reports.end() ? std::string() : it->second;
  }
};

class FakeRunningApplications final : public RunningApplications {
 public:
  std::vector<std::string> names{"Halvex"};
  std::vector<std::string> localizedNames() const override { return names; }
};

class FakeStandardStreams final : public StandardStreams {
 public:
  bool redirectStandardError(const std::string&) override { return true; }
};

class MapBundleInfo final : public BundleInfo {
 public:
  std::map<std::string, std::string> names;
  std::optional<std::string> localizedDisplayName(const std::string& path) const override {
    const auto it = names.find(path);
    return it == names.end() ? std::nullopt : std::optional<std::string>(it->second);
  }
};

}  // namespace halvex::test
