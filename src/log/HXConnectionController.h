#pragma once
// The live log: the recent connections in order of arrival, shown in the connections window's
// table and in the apps popover's per-app list; the menus that turn a row into a rule, copy its
// address or send it to the companion firewall; the purge of old rows; and the switch of the
// whole log. Nothing is stored: rows die after `connectionsTTL` seconds and a closed window
// empties the list.
//
// Threads. A connection line's fields are checked and its process attributed on a background
// queue (buildConnection); everything else runs on the main loop: the list, its records' shown
// fields, the view state and the menus. A front end reads `view` when `changed` is raised and
// calls the actions below as the controls would; it changes the table's selection through
// `allConsLibraryController` and the popover's through `appConnsLibraryController`.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "commands/CommandRunner.h"
#include "configuration/Globals.h"
#include "configuration/HXPreferencesController.h"
#include "link/ConnectionEvents.h"
#include "link/managesocketagent.h"
#include "log/ConnectionEvent.h"
#include "log/HXConnection.h"
#include "management/ArrayController.h"
#include "management/HXController.h"
#include "platform/Dialogs.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FileIcons.h"
#include "platform/HostNames.h"
#include "platform/LogFilterStatus.h"
#include "platform/Pasteboard.h"
#include "platform/ProcessControl.h"
#include "platform/ProcessOwners.h"
#include "platform/RunningApplications.h"
#include "platform/WallClock.h"
#include "platform/Workspace.h"
#include "rules/RuleLibraries.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/Controls.h"
#include "runtime/Graphics.h"
#include "runtime/LineLogger.h"
#include "runtime/MainLoop.h"
#include "runtime/Paths.h"
#include "runtime/Signal.h"

namespace halvex {

namespace connectionnotifications {
// To the companion firewall: {addresses: [text, ...]}.
inline constexpr const char* kBlacklistIPs = "HblacklistIPs";
inline constexpr const char* kAddToGroup = "HaddToGroup";
inline constexpr const char* kDovikObject = "it.dovik";
}  // namespace connectionnotifications

// Where the companion firewall's maker tells about it, in the alert shown when it is not running.
inline constexpr const char* kDovikWebAddress = "https://www.dovik.it";

// One row of a connections table, as its seven columns show it.
struct ConnectionRow {
  Image columnImage;              // connImage
  std::string columnProcessName;  // connSimpleName
  std::string columnAddress;      // connHostname
  std::int64_t columnPort = 0;    // connPort
  std::string columnUID;          // connUID
  std::int32_t columnPID = 0;     // connPID
  std::string columnDate;         // connDate
  // connColor: blocked rows are red.
  Color color;
  bool blocked = false;

  bool operator==(const ConnectionRow&) const = default;
};

// The detail popover of one row.
struct ConnectionInfoPopover {
  bool shown = false;
  Image infopopoverImage;
  std::string infopopoverAppName;
  std::string infopopoverIPAddress;
  std::string infopopoverPort;
  std::string infopopoverUsername;
  std::string infopopoverPath;
  std::string infopopoverHostname;
  std::string infopopoverDate;
};

// The three menus of the log, for menuWillOpen.
enum class ConnectionMenu { mainActionMenu, contextualMenu, appLogsMenu };

struct ConnectionsView {
  // The "Recent Apps Connections" table: every record of allConnsLibrary, in order of arrival.
  std::vector<ConnectionRow> rows;
  std::optional<std::size_t> selectionIndex;
  // The row the table scrolls to: the newest one when it came in with autoscroll on.
  std::optional<std::size_t> scrollToRow;
  // The apps popover's logs: the rows of the app selected in the library.
  std::vector<ConnectionRow> appRows;
  std::optional<std::size_t> appSelectionIndex;
  bool appLogsPopoverShown = false;
  // The window's switches (not saved; both on at start).
  CheckBox hostnamesButton{true, true};
  CheckBox autoscrollButton{true, true};
  ConnectionInfoPopover connInfoPopover;

  // The table's context menu.
  MenuItem item1;  // the companion's black list
  MenuItem item2;  // a group of the companion
  MenuItem reveal1;
  MenuItem reveal2;
  MenuItem blockAppItem;
  MenuItem blockPortItem;
  MenuItem blockIPItem;
  MenuItem passAppItem;
  MenuItem passPortItem;
  MenuItem passIPItem;
  MenuItem copyIPItem;
  MenuItem copyHostItem;
  // The popover's menu.
  MenuItem copyIPItem2;
  MenuItem copyHostItem2;
  // The main action menu's switch of the log.
  MenuItem toggleLogMenuItem;
};

class HXConnectionController : public ConnectionLogSwitch {
 public:
  struct Links {
    Globals& globals;
    // Built after this controller (it holds this one's switch); used from awakeFromNib on.
    HXPreferencesController& preferencescontroller;
    HXController& halvexcontroller;
    // The process look-ups of the request channel.
    const managesocketagent& mymanagesocketagent;
    const ProcessOwners& processOwners;
    DistributedNotificationCenter& distributedCenter;
    ProcessControl& processControl;
    const LineLogger& logger;
    const CommandRunner& commandRunner;
    const FileIcons& fileIcons;
    const HostNames& hostNames;
    const WallClock& wallClock;
    Workspace& workspace;
    Pasteboard& pasteboard;
    Dialogs& dialogs;
    const RunningApplications& runningApplications;
    const LogFilterStatus& logFilter;
    const Paths& paths;
    // The agent's own user.
    std::int32_t myUID = 0;
    // Starts the reader of the connection events, once.
    std::function<void()> startReadConnection;
  };

  explicit HXConnectionController(Links links);
  ~HXConnectionController() override;
  HXConnectionController(const HXConnectionController&) = delete;
  HXConnectionController& operator=(const HXConnectionController&) = delete;

  // The records, in order of arrival; changed only through allConsLibraryController.
  std::vector<std::shared_ptr<HXConnection>> allConnsLibrary;
  ArrayController<HXConnection> allConsLibraryController{allConnsLibrary,
                                                         [this]() -> std::recursive_mutex& { return connsLock_; }};
  // The same records through the per-app filter of the apps popover.
  ArrayController<HXConnection> appConnsLibraryController{allConnsLibrary,
                                                          [this]() -> std::recursive_mutex& { return connsLock_; }};
  // The app path the per-app filter looks for; nothing until an app was chosen.
  std::optional<std::string> appLogsPredicate;
  // Lists of the original design that nothing fills.
  std::vector<std::shared_ptr<HXConnection>> tempLibrary;
  std::vector<std::shared_ptr<HXConnection>> connsLibrary;
  std::vector<std::shared_ptr<HXConnection>> allAppsLibrary;

  ConnectionsView view;
  // Raised on the main loop after every change of `view`.
  Signal<> changed;

  // The purge every 5 seconds, the switch applied, the reader started.
  void awakeFromNib();
  // Removes the rows at least `connectionsTTL` seconds old.
  void timerAction();
  // Rebuilds the rows of both tables from the records and raises `changed`.
  void bindToGlobalArray();
  // After a late fact: the rows of that one record drawn again.
  void redrawRow(const HXConnection& record);

  // On a background queue: the fields of one connection line whose first field is "0". A line
  // out of the grammar ends the process (see ConnectionEventBuilder).
  void buildConnection(const std::vector<std::string>& fields);

  // The switch of the log. Applies activateLogging: on, the preferences' log options are enabled
  // and loadKext posted; off, they are disabled and unloadKext posted. From any thread; the work
  // is the main loop's.
  void loggingControl() override;
  void loadKext();
  void unloadKext();
  // Blocks: asked by status views, off the main loop.
  bool connKextIsRunning() const;
  // Flip activateLogging, apply it, and redraw the toolbar's lamps; the second also sets the
  // preferences' "log to file" box to the sender's state.
  void toggleLogsFromMenu();
  void clickToggleLoggingOnAndOff(bool senderState);

  // Host names on or off (only while logging is on): on, every row's name is looked up again;
  // off, every row shows its address at once.
  void toggleHostnames(bool senderState);
  void switchLogAutoscroll(bool senderState);
  void cleanLogsList();
  // The connections window closes: the list empties and the daemon stops reporting, whatever
  // activateLogging says; only the next loggingControl asks again.
  void windowWillClose();

  // The detail popover of the one selected row.
  void doubleClickAllConnsTableView();
  // Titles, visibility and enabling of a menu's items, for the selected row.
  void menuWillOpen(ConnectionMenu menu);

  // Actions on the one selected row of the table (the popover's with the "app" prefix); nothing
  // when the selection holds any other number of rows.
  void setAppRuleFromLogs(LogRuleItem sender);
  void revealInFinder();
  void revealInFinderResponsibleApp();
  void copyIP();
  void copyHostname();
  void appcopyIP();
  void appcopyHostname();
  // The companion firewall: true when it runs; otherwise a modal alert says so.
  bool checkDovik();
  void blacklistInDovik();
  void copyInDovikGroup();
  void appLogsblacklistInDovik();
  void appLogscopyInDovikGroup();
  // Opens the agent's log file with the desktop's program for it.
  void openLogsInConsole();

  // The per-app log: with exactly one app selected in the library, the popover's list shows the
  // rows whose process path or helper's app path contains the app's path, ignoring case and
  // accents. Any other selection leaves the filter as it was.
  void getAppLogs();
  void openLogsPopover();
  void startReadConnection();

  bool hostNamesOn() const { return hostNames_; }
  bool autoscrollOn() const { return autoscroll_; }

 private:
  void addConnection(const ConnectionEvent& event);
  std::shared_ptr<HXConnection> singleSelected(const ArrayController<HXConnection>& list) const;
  void postToDovik(const char* name, const ArrayController<HXConnection>& list);
  void updateMainMenu();
  void updateContextualMenu();
  void updateAppLogsMenu();
  void notify() { changed(); }

  Links links_;
  mutable std::recursive_mutex connsLock_;
  ConnectionEventBuilder builder_;
  // The records' icons and host names: a few workers, so that a flood of events waits in a queue
  // instead of starting a thread for each look-up.
  ConcurrentQueue lookUps_{"connectionLookUps", 4};
  ConnectionContext context_;
  bool hostNames_ = true;
  bool autoscroll_ = true;
  MainLoop::TimerId connsTimer_ = 0;
  // Late answers of a detail popover shown earlier are dropped.
  std::uint64_t popoverGeneration_ = 0;
  // The records behind the rows of the two views, index for index.
  std::vector<const HXConnection*> rowRecords_;
  std::vector<const HXConnection*> appRowRecords_;
  bool appending_ = false;
  Connection listChanged_;
  Connection appListChanged_;
};

}  // namespace halvex
