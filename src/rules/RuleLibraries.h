#pragma once
// What the configuration reads and replaces in the controllers that hold the three libraries, and
// the refreshes it asks of the other controllers after an import. The management controllers
// derive from these; on their own they are plain holders whose refreshes do nothing, which is
// what a program without those views (and a test) needs.

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace halvex {

class HXApplication;
class HXExclusion;
class HXManagedRecords;

class AppsLibraryHolder {
 public:
  virtual ~AppsLibraryHolder() = default;
  // The library the apps views show, the master of globalAppsArray. Read and changed off the main
  // loop only under the library's lock (Globals::appsLibraryLock).
  std::vector<std::shared_ptr<HXApplication>> appsLibrary;
  // The filter of the apps' list: "self.appIsSystemBinary == 0" while system binaries are
  // hidden, none otherwise. The main loop's: the grid reads it there.
  std::optional<std::string> filterPredicate;

  virtual void updateToolbarLeds() {}
  virtual void updateColorsInPopover() {}
  virtual void updateAllAppsLabelsColors() {}
  // Brings the main window to the front, as the parent of a sheet.
  virtual void showMainWindow() {}

  // Drops every app whose path lies inside an XPC service. A plain holder drops them from its
  // list; the library controller does it through its list, unless an alert is on screen, and
  // hands the new list to the mirror and the daemon.
  virtual void removeAllXPCServices();
  static bool isXPCService(const HXApplication& app);

  // Replaces the whole library, as an import does: on the synchronised queue, with the library's
  // lock held. The library controller replaces its list's content, and its view and selection
  // follow on the main loop.
  virtual void setAppsLibrary(std::vector<std::shared_ptr<HXApplication>> apps) { appsLibrary = std::move(apps); }
  // Sets the filter of the apps' list, on the main loop; the library controller redraws its grid.
  virtual void setFilterPredicate(std::optional<std::string> predicate) { filterPredicate = std::move(predicate); }
};

class ExclusionsLibraryHolder {
 public:
  virtual ~ExclusionsLibraryHolder() = default;
  std::vector<std::shared_ptr<HXExclusion>> exlusionsLibrary;
  virtual void drawTable() {}
};

class RecordsLibraryHolder {
 public:
  virtual ~RecordsLibraryHolder() = default;
  std::vector<std::shared_ptr<HXManagedRecords>> recordsLibrary;
  virtual void reloadTable() {}
};

// The connection log's switch and the update check's timer.
class ConnectionLogSwitch {
 public:
  virtual ~ConnectionLogSwitch() = default;
  virtual void loggingControl() {}
};

class UpdateTimer {
 public:
  virtual ~UpdateTimer() = default;
  virtual void startAutoUpdateTimer() {}
  virtual void invalidateUpdateTimer() {}
  // One check now, in the background.
  virtual void checkForUpdate() {}
};

inline constexpr const char* kHideSystemBinariesPredicate = "self.appIsSystemBinary == 0";

}  // namespace halvex
