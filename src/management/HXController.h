#pragma once
// The library of managed apps: the ordered list the main window shows (`appsLibrary`, changed
// only through `appsLibraryController`), every operation that changes it, and how each change
// reaches the decision code (the shared objects and `globalAppsArray`) and the daemon (sendConf,
// or the datagram "5" when everything is cleaned).
//
// Threads. Operations run on the main loop. The endings run as barrier tasks on the synchronised
// queue: the snapshot (globalAppsArray becomes a copy of the library) and sendConf, and the
// expiry of a timed rule. The library and the fields of its apps are read there, and checked
// against requests, while the main loop may be changing them, so every side holds the library's
// lock (Globals::appsLibraryLock, libraryLock() here) while it touches them; the list controller
// guards its content with the same lock.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "configuration/Globals.h"
#include "configuration/UserDefaults.h"
#include "management/AppsGridView.h"
#include "management/ArrayController.h"
#include "management/DragSession.h"
#include "platform/Dialogs.h"
#include "rules/RuleLibraries.h"
#include "rules/RulesContext.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Signal.h"

namespace halvex {

class HXApplication;
class managesocketagent;

namespace librarynotifications {
inline constexpr const char* kCopyArrayAppLibrary = "copyArrayAppLibrary";
inline constexpr const char* kExpireApp = "expireApp";
inline constexpr const char* kSendConfiguration = "sendConfiguration";
inline constexpr const char* kSelectApp = "selectApp";
inline constexpr const char* kSilenceNotifications = "silenceNotifications";
inline constexpr const char* kReenableNotifications = "reenableNotifications";
}  // namespace librarynotifications

// The items of the connection log's context menu that make a rule.
enum class LogRuleItem { blockAppItem, passAppItem, blockPortItem, passPortItem, blockIPItem, passIPItem };

// The facts of one connection-log row that a rule from the log needs.
struct LogConnectionFacts {
  std::string connProcessName;
  std::string xpcPath;
  std::string connRepresentedXPC;
  std::string connIPAddress;
  std::int64_t connPort = 0;
};

class HXController : public AppsLibraryHolder {
 public:
  struct Links {
    Globals& globals;
    const RulesContext& rulesContext;
    Dialogs& dialogs;
    UserDefaults& userDefaults;
    DragSession& dragSession;
    // Replies and the datagram "5" to the daemon.
    managesocketagent& mymanagesocketagent;
    // Sends the compact rule lists to the daemon (the configuration's sendConf).
    std::function<void()> sendConf;
    // Redraws the preferences, whose alerts option follows the switch.
    std::function<void()> updatePreferencesGUI = [] {};
  };

  static constexpr const char* kMainWindow = "window";

  // Registers the observers of the agent's own centre.
  explicit HXController(Links links);
  ~HXController() override;
  HXController(const HXController&) = delete;
  HXController& operator=(const HXController&) = delete;

  // Redraws the rule popover of the selected app (the popover's owner sets it).
  std::function<void()> drawAppPopover;

  ArrayController<HXApplication> appsLibraryController{appsLibrary,
                                                       [this]() -> std::recursive_mutex& { return libraryLock(); }};

  // Kept for the view; nothing counts.
  std::int64_t totalHits = 0;
  // The copied rule; 5 means nothing was copied.
  std::vector<std::string> pasteboardMatches;
  std::int64_t pasteboardIsBlockedOrAllowed = 5;

  AppsGridView appsGrid;
  // Raised after every change of `appsGrid`, on the main loop.
  Signal<> changed;

  std::recursive_mutex& libraryLock() const;

  // A new entry for the path with the given rule state, in no list yet.
  std::shared_ptr<HXApplication> generateHXApplication(std::int64_t rule, const std::string& applicationPath) const;

  // Brings the first app of globalAppsArray to the front of the view.
  void copyArrayAppLibrary();
  // Queues a sendConf, without a snapshot.
  void sendConfiguration();
  void updateDaemon() { sendConfiguration(); }
  // Queues the snapshot (globalAppsArray takes a copy of the library) and a sendConf.
  void snapshotAndSend();

  // On the selected app; nothing unless exactly one app is selected.
  void makeSelectedAppGreen();
  void makeSelectedAppRed();
  void makeSelectedAppYellow();
  void clickAppLocker();
  void removeApp();

  // Cleans the whole list, after a warning unless the user turned it off.
  void emptyall();

  // On the whole list.
  void removeAllXPCServices() override;
  void makeYellowAppsTurnGreenButPreserveAllMatches();
  void turnAllAppsWithMatchesFromGreenToYellow();
  void silenceNotifications();
  void reenableNotifications();
  // Alerts on or off, from the status menu or the console.
  void switchNotificationAlertsStatus();
  void updateToolbarLeds() override;

  // The end of a timed rule, from the "expireApp" notification.
  void expireApp(const std::string& appName);
  void selectApp(std::int64_t index);

  // A rule from the connection log's menu; nothing unless exactly one row is selected.
  void setAppRuleFromLogs(LogRuleItem sender, const std::vector<LogConnectionFacts>& selectedRows);

  // The rule-entry checks the log's menu shares with the rule popover.
  static bool portIsValid(const HXApplication& app, std::int64_t port);
  static bool logsIPIsValid(HXApplication& app, const std::string& ipaddr);
  // Brings the state in line with the entries: 0 with a block entry becomes 2, 1 with a pass
  // entry 3, 2 without block entries 0, 3 without pass entries 1.
  static void evaluateAppRule(HXApplication& app);

  // Reordering by drag, on indexes of the arranged apps.
  bool canDragItemsAtIndexes(const std::vector<std::size_t>& indexes);
  bool writeItemsAtIndexes(const std::vector<std::size_t>& indexes, DragPasteboard& toPasteboard);
  // True when a move is offered.
  bool validateDrop(std::size_t proposedIndex) const;
  bool acceptDrop(std::size_t index);

  // The filter of the grid, set again from the preference: system binaries hidden or not.
  void applyFilter();
  // Rebuilds `appsGrid` and raises `changed`.
  void refreshView();

  void showMainWindow() override;
  void setAppsLibrary(std::vector<std::shared_ptr<HXApplication>> apps) override;
  void setFilterPredicate(std::optional<std::string> predicate) override;

 private:
  std::shared_ptr<HXApplication> singleSelectedApp() const;
  // The ending after a change of the selected app's rule.
  void endRuleChange(bool redrawPopover);
  void cleanAllApps();
  void queueSendConf();
  static void makeYellow(HXApplication& app);
  bool filterShows(const HXApplication& app) const;

  Links links_;
  std::vector<NotificationCenter::Token> observers_;
};

}  // namespace halvex
