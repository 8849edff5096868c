#include "management/HXController.h"

#include <algorithm>
#include <charconv>

#include "configuration/HXConfiguration.h"
#include "configuration/HXPreferences.h"
#include "link/managesocketagent.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"

namespace halvex {

using namespace librarynotifications;

namespace {

using LibraryGuard = std::lock_guard<std::recursive_mutex>;

bool startsWith(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

struct EntryCounts {
  std::size_t passed = 0;   // entries that begin with "@", ranges too
  std::size_t blocked = 0;  // entries that begin with "#", ranges too
};

EntryCounts countEntries(const std::vector<std::string>& matches) {
  EntryCounts counts;
  for (const auto& entry : matches) {
    if (startsWith(entry, "@")) ++counts.passed;
    if (startsWith(entry, "#")) ++counts.blocked;
  }
  return counts;
}

// The state a click on the lock gives: pass and block change places; an asking app takes the
// pure or mixed state that its entries allow. A state outside 1 to 4 counts as pass.
std::int64_t flippedState(std::int64_t state, const std::vector<std::string>& matches) {
  switch (state) {
    case 1:
    case 3: return 0;
    case 4: {
      const auto counts = countEntries(matches);
      if (counts.passed == 0 && counts.blocked == 0) return 0;
      return counts.blocked == 0 ? 3 : 2;
    }
    default: return 1;
  }
}

constexpr const char* kCleanWarningText =
    "Are you sure? This operation will delete all current Halvex apps rules. To store current configuration "
    "export it to file or save it as custom preset. ";

// The one predicate the grid knows: "self.appIsSystemBinary == N".
std::optional<bool> systemBinaryPredicateValue(const std::string& predicate) {
  constexpr std::string_view prefix = "self.appIsSystemBinary == ";
  if (!startsWith(predicate, prefix)) return std::nullopt;
  int value = 0;
  const char* first = predicate.data() + prefix.size();
  const char* last = predicate.data() + predicate.size();
  const auto [end, error] = std::from_chars(first, last, value);
  if (error != std::errc{} || end != last) return std::nullopt;
  return value != 0;
}

}  // namespace

HXController::HXController(Links links) : links_(std::move(links)) {
  appsLibraryController.setFilter([this](const HXApplication& app) { return filterShows(app); });
  appsLibraryController.changed.connect([this] { refreshView(); });

  auto& center = links_.globals.notificationCenter;
  observers_.push_back(
      center.addObserver(kCopyArrayAppLibrary, [this](const Notification&) { copyArrayAppLibrary(); }));
  observers_.push_back(center.addObserver(kExpireApp, [this](const Notification& n) {
    const auto* name = n.userInfo.find("appName");
    expireApp(name && name->asString() ? *name->asString() : std::string());
  }));
  observers_.push_back(center.addObserver(kSendConfiguration, [this](const Notification&) { sendConfiguration(); }));
  observers_.push_back(center.addObserver(kSelectApp, [this](const Notification& n) {
    const auto* index = n.userInfo.find("selectApp");
    if (index && index->asInteger()) selectApp(*index->asInteger());
  }));
  observers_.push_back(
      center.addObserver(kSilenceNotifications, [this](const Notification&) { silenceNotifications(); }));
  observers_.push_back(
      center.addObserver(kReenableNotifications, [this](const Notification&) { reenableNotifications(); }));
}

HXController::~HXController() {
  for (auto token : observers_) links_.globals.notificationCenter.removeObserver(token);
}

std::shared_ptr<HXApplication> HXController::generateHXApplication(std::int64_t rule,
                                                                   const std::string& applicationPath) const {
  return halvex::generateHXApplication(links_.rulesContext, rule, applicationPath);
}

std::recursive_mutex& HXController::libraryLock() const { return links_.globals.appsLibraryLock; }

// ---- Endings ----

void HXController::snapshotAndSend() {
  links_.globals.synchronizedNotification.asyncBarrier([this] {
    LibraryGuard lock(libraryLock());
    links_.globals.globalAppsArray = appsLibrary;
    links_.sendConf();
  });
}

void HXController::queueSendConf() {
  links_.globals.synchronizedNotification.asyncBarrier([this] { links_.sendConf(); });
}

void HXController::sendConfiguration() { queueSendConf(); }

// ---- Additions ----

void HXController::copyArrayAppLibrary() {
  std::shared_ptr<HXApplication> first;
  {
    LibraryGuard lock(libraryLock());
    if (links_.globals.globalAppsArray.empty()) return;
    first = links_.globals.globalAppsArray.front();
  }
  appsLibraryController.insertObject(first, 0);
  applyFilter();
}

// ---- The selected app ----

std::shared_ptr<HXApplication> HXController::singleSelectedApp() const {
  auto selected = appsLibraryController.selectedObjects();
  return selected.size() == 1 ? selected.front() : nullptr;
}

void HXController::endRuleChange(bool redrawPopover) {
  snapshotAndSend();
  if (redrawPopover && drawAppPopover) drawAppPopover();
  refreshView();
}

void HXController::makeSelectedAppGreen() {
  auto app = singleSelectedApp();
  if (!app) return;
  {
    LibraryGuard lock(libraryLock());
    app->setRule(0);
    app->expireQuiet();
  }
  endRuleChange(true);
}

void HXController::makeSelectedAppRed() {
  auto app = singleSelectedApp();
  if (!app) return;
  {
    LibraryGuard lock(libraryLock());
    app->setRule(1);
    app->expireQuiet();
  }
  endRuleChange(true);
}

void HXController::makeYellow(HXApplication& app) {
  // Asking keeps the entries and leaves the timers to the caller.
  app.setRule(4);
}

void HXController::makeSelectedAppYellow() {
  auto app = singleSelectedApp();
  if (!app) return;
  {
    LibraryGuard lock(libraryLock());
    if (app->appIsBlockedOrAllowed != 4) makeYellow(*app);
    app->expireQuiet();
    app->stopAppTimer();
  }
  endRuleChange(true);
}

void HXController::clickAppLocker() {
  if (links_.globals.notificationOnScreen) return;
  auto app = singleSelectedApp();
  if (!app) return;
  {
    LibraryGuard lock(libraryLock());
    app->setRule(flippedState(app->appIsBlockedOrAllowed, app->appMatches));
    app->expireQuiet();
  }
  endRuleChange(false);
}

void HXController::removeApp() {
  if (links_.globals.notificationOnScreen) return;
  auto app = singleSelectedApp();
  if (!app) return;
  appsLibraryController.removeObject(app);
  {
    LibraryGuard lock(libraryLock());
    // A running quiet time is left to end on the removed app, which no list holds any more.
    app->stopAppTimer();
  }
  snapshotAndSend();
  refreshView();
}

// ---- Cleaning all ----

void HXController::emptyall() {
  if (links_.userDefaults.boolForKey(preferencekeys::kCleaningAllApps).value_or(false)) {
    cleanAllApps();
    return;
  }
  showMainWindow();
  AlertDescription alert;
  alert.messageText = "Are you sure?";
  alert.informativeText = kCleanWarningText;
  alert.buttons = {"Clean apps list", "Cancel"};
  alert.icon = "NSCaution";
  alert.showsSuppressionButton = true;
  links_.dialogs.beginSheet(kMainWindow, alert, [this](AlertResponse response) {
    // The box is honoured whichever button closed the sheet.
    if (response.suppressed) links_.userDefaults.setBool(preferencekeys::kCleaningAllApps, true);
    if (response.button == 1000) cleanAllApps();
  });
}

void HXController::cleanAllApps() {
  appsLibraryController.setContent({});
  // The mirror is emptied on the synchronised queue, where the decision code reads it; the
  // daemon hears that every app rule is gone once the mirror is empty. No sendConf.
  links_.globals.synchronizedNotification.asyncBarrier([this] {
    {
      LibraryGuard lock(libraryLock());
      links_.globals.globalAppsArray.clear();
    }
    links_.mymanagesocketagent.sendsocketagent("5");
  });
  refreshView();
}

// ---- The whole list ----

void HXController::removeAllXPCServices() {
  if (links_.globals.notificationOnScreen) return;
  const auto content = appsLibraryController.content();
  for (const auto& app : content)
    if (isXPCService(*app)) appsLibraryController.removeObject(app);
  snapshotAndSend();
}

void HXController::makeYellowAppsTurnGreenButPreserveAllMatches() {
  {
    LibraryGuard lock(libraryLock());
    for (const auto& app : appsLibrary) {
      if (app->appIsBlockedOrAllowed != 4) continue;
      // setRule with 0 drops the entries; the backup is all that keeps them.
      app->appMatchesBackup = app->appMatches;
      const auto counts = countEntries(app->appMatches);
      app->setRule(counts.blocked > 0 ? 2 : 0);
    }
  }
  refreshView();
}

void HXController::turnAllAppsWithMatchesFromGreenToYellow() {
  {
    LibraryGuard lock(libraryLock());
    for (const auto& app : appsLibrary) {
      // Only apps with entries of both kinds ask again; the backup is not read.
      const auto counts = countEntries(app->appMatches);
      if (counts.passed > 0 && counts.blocked > 0) makeYellow(*app);
    }
  }
  refreshView();
}

void HXController::silenceNotifications() {
  if (!links_.globals.enableNotifications) return;
  makeYellowAppsTurnGreenButPreserveAllMatches();
  links_.globals.enableNotifications = false;
  queueSendConf();
  updateToolbarLeds();
}

void HXController::reenableNotifications() {
  // The same test as silencing: with alerts off this does nothing.
  if (!links_.globals.enableNotifications) return;
  turnAllAppsWithMatchesFromGreenToYellow();
  links_.globals.enableNotifications = true;
  queueSendConf();
  updateToolbarLeds();
}

void HXController::switchNotificationAlertsStatus() {
  auto& globals = links_.globals;
  if (globals.enableNotifications) {
    makeYellowAppsTurnGreenButPreserveAllMatches();
    globals.enableNotifications = false;
    // A pasted ask state would have no meaning with alerts off.
    pasteboardIsBlockedOrAllowed = 5;
  } else {
    turnAllAppsWithMatchesFromGreenToYellow();
    globals.enableNotifications = true;
  }
  links_.updatePreferencesGUI();
  queueSendConf();
  updateToolbarLeds();
}

void HXController::updateToolbarLeds() {
  // The lamps are the main window's view state: an import on the synchronised queue redraws them
  // on the main loop.
  if (!links_.globals.mainLoop.isLoopThread()) {
    links_.globals.mainLoop.post([this] { updateToolbarLeds(); });
    return;
  }
  const bool notifications = links_.globals.enableNotifications;
  const bool logging = links_.globals.activateLogging;
  auto& leds = appsGrid.toolbarLeds;
  leds.notificationsLabel.text = notifications ? "NOTIFICATIONS ENABLED" : "NOTIFICATIONS DISABLED";
  leds.notificationsImage = Image::named(notifications ? "NSStatusAvailable" : "NSStatusUnavailable");
  leds.loggingLabel.text = logging ? "LOGGING ENABLED" : "LOGGING DISABLED";
  leds.loggingImage = Image::named(logging ? "NSStatusAvailable" : "NSStatusUnavailable");
  leds.titleLogs.text = logging ? "Recent Apps Connections" : "Recent Apps Connections (Disabled)";
  changed();
}

// ---- Expiry and selection ----

void HXController::expireApp(const std::string& appName) {
  links_.globals.synchronizedNotification.asyncBarrier([this, appName] {
    {
      LibraryGuard lock(libraryLock());
      auto it = std::find_if(appsLibrary.begin(), appsLibrary.end(),
                             [&](const std::shared_ptr<HXApplication>& app) { return app->appName == appName; });
      if (it != appsLibrary.end()) {
        auto app = *it;
        app->stopAppTimer();
        if (links_.globals.enableNotifications) {
          makeYellow(*app);
        } else {
          links_.globals.mainLoop.post([this, app] { appsLibraryController.removeObject(app); });
        }
      }
      // At once, without waiting for a removal: until the next snapshot the daemon may still
      // hold the expired app.
      links_.globals.globalAppsArray = appsLibrary;
      links_.sendConf();
    }
    links_.globals.mainLoop.post([this] { refreshView(); });
  });
}

void HXController::selectApp(std::int64_t index) {
  if (index < 0) {
    appsLibraryController.clearSelection();
    return;
  }
  appsLibraryController.setSelectionIndex(static_cast<std::size_t>(index));
}

// ---- Rules from the connection log ----

bool HXController::portIsValid(const HXApplication& app, std::int64_t port) {
  const std::string value = std::to_string(port);
  return std::none_of(app.appMatches.begin(), app.appMatches.end(),
                      [&](const std::string& entry) { return entry == "@" + value || entry == "#" + value; });
}

bool HXController::logsIPIsValid(HXApplication& app, const std::string& ipaddr) {
  std::erase_if(app.appMatches,
                [&](const std::string& entry) { return entry == "@" + ipaddr || entry == "#" + ipaddr; });
  return true;
}

void HXController::evaluateAppRule(HXApplication& app) {
  const auto counts = countEntries(app.appMatches);
  const std::int64_t state = app.appIsBlockedOrAllowed;
  if (state == 0 && counts.blocked > 0) app.setRule(2);
  else if (state == 1 && counts.passed > 0) app.setRule(3);
  else if (state == 2 && counts.blocked == 0) app.setRule(0);
  else if (state == 3 && counts.passed == 0) app.setRule(1);
}

void HXController::setAppRuleFromLogs(LogRuleItem sender, const std::vector<LogConnectionFacts>& selectedRows) {
  if (selectedRows.size() != 1) return;
  const LogConnectionFacts& row = selectedRows.front();
  const std::string path = row.connRepresentedXPC.empty() ? row.connProcessName : row.xpcPath;
  const std::string port = std::to_string(row.connPort);
  const std::string& address = row.connIPAddress;

  // Every app whose path lies in the connection's path gets the action, not only the first.
  bool found = false;
  {
    LibraryGuard lock(libraryLock());
    for (const auto& app : links_.globals.globalAppsArray) {
      if (path.find(app->appPath) == std::string::npos) continue;
      found = true;
      const std::int64_t state = app->appIsBlockedOrAllowed;
      bool send = true;
      switch (sender) {
        case LogRuleItem::blockAppItem: app->setRule(1); break;
        case LogRuleItem::passAppItem: app->setRule(0); break;
        case LogRuleItem::blockPortItem:
        case LogRuleItem::passPortItem: {
          const bool block = sender == LogRuleItem::blockPortItem;
          send = state != (block ? 1 : 0) && portIsValid(*app, row.connPort);
          if (send) {
            app->appMatches.insert(app->appMatches.begin(), (block ? "#" : "@") + port);
            evaluateAppRule(*app);
          }
          break;
        }
        case LogRuleItem::blockIPItem:
        case LogRuleItem::passIPItem: {
          const bool block = sender == LogRuleItem::blockIPItem;
          send = state != (block ? 1 : 0);
          if (send) {
            logsIPIsValid(*app, address);
            app->appMatches.insert(app->appMatches.begin(), (block ? "#" : "@") + address);
            evaluateAppRule(*app);
          }
          break;
        }
      }
      // The objects are shared: no snapshot, only the send.
      if (send) queueSendConf();
    }
  }
  if (found) {
    refreshView();
    return;
  }

  // A new app: a whole-app item gives it that state; a port or address item passes (or blocks)
  // everything else and puts the opposite entry first.
  auto app = generateHXApplication(0, path);
  const bool block =
      sender == LogRuleItem::blockAppItem || sender == LogRuleItem::blockPortItem || sender == LogRuleItem::blockIPItem;
  const bool portItem = sender == LogRuleItem::blockPortItem || sender == LogRuleItem::passPortItem;
  const bool addressItem = sender == LogRuleItem::blockIPItem || sender == LogRuleItem::passIPItem;
  if (portItem || addressItem) {
    app->appMatches.insert(app->appMatches.begin(), (block ? "#" : "@") + (portItem ? port : address));
    app->setRule(block ? 2 : 3);
  } else {
    app->setRule(block ? 1 : 0);
  }
  appsLibraryController.addObject(app);
  applyFilter();
  links_.globals.synchronizedNotification.asyncBarrier([this, app] {
    LibraryGuard lock(libraryLock());
    links_.globals.globalAppsArray.push_back(app);
    links_.sendConf();
  });
}

// ---- Reordering by drag ----

bool HXController::canDragItemsAtIndexes(const std::vector<std::size_t>&) {
  links_.dragSession.dragKind = dragkinds::kReorderApps;
  return !links_.globals.notificationOnScreen;
}

bool HXController::writeItemsAtIndexes(const std::vector<std::size_t>& indexes, DragPasteboard& toPasteboard) {
  toPasteboard.type = DragPasteboard::kStringType;
  toPasteboard.archivedIndexes = indexes;
  return !links_.globals.notificationOnScreen && links_.dragSession.dragKind == dragkinds::kReorderApps;
}

bool HXController::validateDrop(std::size_t) const { return links_.dragSession.dragKind == dragkinds::kReorderApps; }

bool HXController::acceptDrop(std::size_t index) {
  if (links_.dragSession.dragKind != dragkinds::kReorderApps) return false;
  auto app = singleSelectedApp();
  const auto selection = appsLibraryController.selectionIndex();
  if (!app || !selection) return false;
  // The app leaves its place first, so a place behind it moves up by one.
  if (*selection < index) --index;
  {
    // One step for the readers of the library: never without the moved app. An import may have
    // replaced the list meanwhile; then the app is no longer there to move.
    LibraryGuard lock(libraryLock());
    if (appsLibraryController.removeObject(app)) appsLibraryController.insertObject(app, index);
  }
  snapshotAndSend();
  return true;
}

// ---- The view ----

bool HXController::filterShows(const HXApplication& app) const {
  if (!filterPredicate) return true;
  const auto wanted = systemBinaryPredicateValue(*filterPredicate);
  return !wanted || app.appIsSystemBinary == *wanted;
}

void HXController::applyFilter() {
  if (links_.globals.preferences.user().hideSystemBinaries) filterPredicate = kHideSystemBinariesPredicate;
  else filterPredicate.reset();
  refreshView();
}

void HXController::setFilterPredicate(std::optional<std::string> predicate) {
  filterPredicate = std::move(predicate);
  refreshView();
}

void HXController::setAppsLibrary(std::vector<std::shared_ptr<HXApplication>> apps) {
  // The readers on the queue see the new list at once; the selection and the grid are the main
  // loop's, and follow there.
  appsLibraryController.replaceContent(std::move(apps));
  links_.globals.mainLoop.post([this] { appsLibraryController.contentReplaced(); });
}

void HXController::showMainWindow() {
  appsGrid.mainWindowVisible = true;
  changed();
}

void HXController::refreshView() {
  AppsGridView view;
  view.mainWindowVisible = appsGrid.mainWindowVisible;
  view.toolbarLeds = appsGrid.toolbarLeds;
  view.hidesSystemBinaries = filterPredicate.has_value();
  view.selectionIndex = appsLibraryController.selectionIndex();
  const auto selected = appsLibraryController.selectedObjects();
  {
    LibraryGuard lock(libraryLock());
    view.libraryCount = appsLibrary.size();
    const auto arranged = appsLibraryController.arrangedObjects();
    view.items.reserve(arranged.size());
    for (std::size_t i = 0; i < arranged.size(); ++i) {
      const HXApplication& app = *arranged[i];
      AppItemView item;
      item.appName = app.appName;
      item.title = app.appLocalizedNameCentered.text;
      item.imageName = app.appImage.name;
      item.labelColor = app.appLabelColor;
      item.state = app.appIsBlockedOrAllowed;
      item.yellow = app.appIsYellow;
      item.greenShadow = app.appGreenShadow;
      item.redShadow = app.appRedShadow;
      item.quiet = app.appIsQuietPass || app.appIsQuietBlock;
      item.timed = app.appHasTimer;
      item.counterVisible = app.appCounterIsVisible;
      item.hits = app.appHits;
      item.selected = std::find(selected.begin(), selected.end(), arranged[i]) != selected.end();
      view.items.push_back(std::move(item));
    }
  }
  appsGrid = std::move(view);
  changed();
}

}  // namespace halvex
