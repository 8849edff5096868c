#include "standin/DaemonConfiguration.h"

#include "runtime/PlistIO.h"

namespace halvex::standin {

DaemonConfiguration::DaemonConfiguration(FileSystem& fileSystem, std::string confPath)
    : fileSystem_(fileSystem), confPath_(std::move(confPath)) {}

bool DaemonConfiguration::handle(const DistributedNotification& n) {
  if (n.name == "writeHalvexConfiguration") {
    if (!n.userInfo) return true;
    const plist::Value file(plist::Array{plist::Value(*n.userInfo)});
    fileSystem_.writeFileAtomically(confPath_, plist::toXml(file));
    return true;
  }
  if (n.name == "newAppListReceived") {
    std::lock_guard lock(mutex_);
    compact_ = n.userInfo.value_or(plist::Dictionary{});
    return true;
  }
  return false;
}

void DaemonConfiguration::observe(DistributedNotificationCenter& center) {
  for (const char* name : {"writeHalvexConfiguration", "newAppListReceived"})
    center.addObserver(name, "", [this](const DistributedNotification& n) { handle(n); });
}

std::optional<plist::Dictionary> DaemonConfiguration::compactList() const {
  std::lock_guard lock(mutex_);
  return compact_;
}

std::string DaemonConfiguration::compactListXml() const {
  const auto list = compactList();
  return list ? plist::toXml(plist::Value(*list)) : std::string();
}

std::string DaemonConfiguration::compactSummary() const {
  const auto list = compactList();
  auto count = [&](const char* key) -> std::size_t {
    const auto* v = list ? list->find(key) : nullptr;
    return v && v->asArray() ? v->asArray()->size() : 0;
  };
  return "apps=" + std::to_string(count("AppList")) + " exclusions=" + std::to_string(count("ExclusionList")) +
         " records=" + std::to_string(count("RecordList"));
}

}  // namespace halvex::standin
