#pragma once
// The program-wide state: one object made by the composition and handed to the controllers
// by reference. Members carry the names the rest of the system knows them by. Flags that one
// thread writes while another reads are atomics; the request-side lists are guarded by the queue
// discipline (at most one request open, the synchronised queue held meanwhile), except the apps
// library and its mirror, which have a lock of their own.

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "configuration/HXPreferences.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/MainLoop.h"
#include "runtime/NotificationCenter.h"
#include "runtime/ObservedFlag.h"
#include "runtime/SerialQueue.h"

namespace halvex {

class HXApplication;
class HXExclusion;
class HXManagedRecords;
class HXNotifyWindowController;

struct Globals {
  explicit Globals(MainLoop& loop) : mainLoop(loop) {}

  MainLoop& mainLoop;
  NotificationCenter notificationCenter;

  // Saved settings carried in a configuration, at their values before anything is loaded. The
  // observed ones are what a tray icon or a status line shows: each announces its changes.
  ObservedFlag isLocked{false};
  ObservedFlag enableNotifications{false};
  ObservedFlag activateLogging{false};
  std::atomic<bool> loggaSuFile{false};
  std::atomic<bool> automaticXPC{true};
  // Not saved. `notificationOnScreen` holds while an alert is pending.
  std::atomic<bool> debugFlag{false};
  ObservedFlag notificationOnScreen{false};
  // The alert's choices that outlive it, on the main loop only: whether the box of scopes is
  // open (from `showMoreOptions`), and the scope row chosen last.
  bool moreOptionsOpen = false;
  std::int64_t lastActionRow = 0;

  std::string version = HALVEX_VERSION;

  // The request side: tag counter and the controllers of open requests.
  std::uint32_t requestCounter = 1;
  std::map<std::string, std::shared_ptr<HXNotifyWindowController>> notifyControllers;

  // The process-wide mirror of the apps library, written on the synchronised queue.
  std::vector<std::shared_ptr<HXApplication>> globalAppsArray;
  // The lock of the apps library, of this mirror and of the lists and strings of their apps. The
  // main loop edits them while the synchronised queue snapshots, sends and checks requests
  // against them, so both sides hold it while they touch them: the library controller (for every
  // change of its list), the rule check, the configuration and the preferences. Recursive, so
  // that a holder may call code that takes it again. Held for in-memory work only, never across
  // a wait on a queue or on the main loop.
  mutable std::recursive_mutex appsLibraryLock;
  // The mirrors of the managed folders and the global rules, written on the synchronised queue.
  std::vector<std::shared_ptr<HXExclusion>> globalExclusionsArray;
  std::vector<std::shared_ptr<HXManagedRecords>> globalRecordsArray;

  // The other settings carried in a configuration, and those of the defaults database.
  PreferenceState preferences;

  // Queues. Worker threads start with them and end when the globals go.
  SerialQueue synchronizedNotification{"SynchronizedNotification"};
  ConcurrentQueue recvDaemonQueue{"recvDaemonQueue"};
  ConcurrentQueue findFlag{"findFlag"};
  ConcurrentQueue globalBackground{"global"};
  // The building of connection-log records: two workers, so that a flood of events waits in the
  // queue instead of starting a thread for each event.
  ConcurrentQueue connectionBuilding{"connectionBuilding", 2};
};

}  // namespace halvex
