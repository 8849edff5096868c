#pragma once
// A whole configuration as one property list, and back: the class records (preferences, managed
// folders, global rules, managed apps, in this order), their plain form (an array of records) and
// their encoded form (an array with one dictionary holding the records as a keyed archive), and
// the one reader that takes both.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "runtime/Plist.h"

namespace halvex {

class HXApplication;
class HXExclusion;
class HXManagedRecords;

namespace snapshotkeys {
inline constexpr const char* kHalvexClassName = "HalvexClassName";
inline constexpr const char* kHalvexConfiguration = "HalvexConfiguration";
inline constexpr const char* kHalvexVersion = "HalvexVersion";
inline constexpr const char* kApplication = "HXApplication";
inline constexpr const char* kExclusion = "HXExclusion";
inline constexpr const char* kManagedRecords = "HXManagedRecords";
}  // namespace snapshotkeys

plist::Dictionary applicationRecord(const HXApplication& app);
plist::Dictionary exclusionRecord(const HXExclusion& exclusion);
plist::Dictionary managedRecordsRecord(const HXManagedRecords& record);

// The records of a snapshot: the preferences record first, then the folders that are not built
// in, the global rules, and the apps without a running timed rule.
plist::Array classRecords(plist::Dictionary preferences, const std::vector<std::shared_ptr<HXExclusion>>& exclusions,
                          const std::vector<std::shared_ptr<HXManagedRecords>>& records,
                          const std::vector<std::shared_ptr<HXApplication>>& apps);

// The plain form as XML, the same records as classRecords. Each record is written as it is made,
// so a large library is not held as a whole value tree beside the written nodes.
std::string plainConfigurationXml(plist::Dictionary preferences,
                                  const std::vector<std::shared_ptr<HXExclusion>>& exclusions,
                                  const std::vector<std::shared_ptr<HXManagedRecords>>& records,
                                  const std::vector<std::shared_ptr<HXApplication>>& apps);

// The dictionary that the encoded form holds and the daemon receives.
plist::Dictionary encodedConfiguration(const plist::Array& records, const std::string& version);

// The compact lists the daemon works from: AppList, ExclusionList, RecordList.
plist::Dictionary compactAppList(const std::vector<std::shared_ptr<HXApplication>>& apps,
                                 const std::vector<std::shared_ptr<HXExclusion>>& exclusions,
                                 const std::vector<std::shared_ptr<HXManagedRecords>>& records);

// What a snapshot holds, read and checked.
struct ApplicationSnapshot {
  std::string appName;
  std::string appPath;
  std::vector<std::string> appBinaries;
  bool appIsBundle = false;
  std::int64_t appIsBlockedOrAllowed = 0;
  std::vector<std::string> appMatches;
};
struct ExclusionSnapshot {
  std::string path;
  std::int64_t rule = 0;
  bool ignored = false;
  bool hardcoded = false;
};
struct ManagedRecordSnapshot {
  std::string record;
  std::int64_t type = 0;
  std::int64_t rule = 0;
};
struct SnapshotContents {
  std::vector<ApplicationSnapshot> apps;
  std::vector<plist::Dictionary> preferences;
  std::vector<ExclusionSnapshot> exclusions;
  std::vector<ManagedRecordSnapshot> records;
};
struct SnapshotError {
  std::string message;
};

// Reads a snapshot file of either form. The encoded form is unpacked only when exactly one record
// is named "HalvexConfiguration"; otherwise the file's own array is read as the records. Records
// of other classes are dropped. A file that is not an array of dictionaries, an archive that does
// not unpack into one, or an app, folder, global-rule or preferences record with a missing key or
// a value of the wrong kind is an error.
std::variant<SnapshotContents, SnapshotError> readSnapshot(std::string_view bytes);

// The bundle path of a path that older versions stored inside the bundle: for a bundle whose
// path does not end in ".app", the path up to its first component ending in ".app" (or the whole
// path when none does), cleaned of double slashes. Other paths are returned as they are.
std::string repairedBundlePath(const std::string& appPath, bool appIsBundle);

}  // namespace halvex
