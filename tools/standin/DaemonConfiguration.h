#pragma once
// What the daemon does with the configuration messages: on writeHalvexConfiguration it stores the
// user info as the single element of an array in /etc/halvex.conf; on newAppListReceived it
// replaces its compact copy of the three lists. Thread-safe.

#include <mutex>
#include <optional>
#include <string>

#include "platform/DistributedNotificationCenter.h"
#include "platform/FileSystem.h"
#include "runtime/Plist.h"

namespace halvex::standin {

class DaemonConfiguration {
 public:
  DaemonConfiguration(FileSystem& fileSystem, std::string confPath);

  // Handles either message; answers false for any other notification.
  bool handle(const DistributedNotification& notification);
  // Observes both messages on `center`.
  void observe(DistributedNotificationCenter& center);

  // The last compact list heard, if any; and the same as an XML property list.
  std::optional<plist::Dictionary> compactList() const;
  std::string compactListXml() const;
  // "apps=N exclusions=N records=N" of the last compact list.
  std::string compactSummary() const;

  const std::string& confPath() const { return confPath_; }

 private:
  FileSystem& fileSystem_;
  std::string confPath_;
  mutable std::mutex mutex_;
  std::optional<plist::Dictionary> compact_;
};

}  // namespace halvex::standin
