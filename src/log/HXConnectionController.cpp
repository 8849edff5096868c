#include "log/HXConnectionController.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include "rules/HXApplication.h"

namespace halvex {
namespace {

using namespace connectionnotifications;

constexpr std::chrono::seconds kLogTimerInterval{5};

// The base letters of U+0100 to U+017F (Latin Extended-A) whose canonical decomposition is a
// letter and a mark; "." where there is none.
constexpr std::string_view kLatinExtendedA =
    "aaaaaaccccccccdd..eeeeeeeeeegggggggghh..iiiiiiiii...jjkk.llllll."
    "...nnnnnn...oooooo..rrrrrrsssssssstttt..uuuuuuuuuuuuwwyyyzzzzzz.";

// The base letters of U+00C0 to U+00FF (the letters of Latin-1), lower case; "." where the letter
// has no decomposition.
constexpr std::string_view kLatin1 = "aaaaaa.ceeeeiiii.nooooo..uuuuy..aaaaaa.ceeeeiiii.nooooo..uuuuy.y";
static_assert(kLatinExtendedA.size() == 0x80 && kLatin1.size() == 0x40);

void appendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

// The text with case and accents folded away, for a "contains" that ignores both: ASCII letters
// lower-cased, the accented Latin letters (precomposed) turned into their base letters, and
// combining marks (decomposed accents) dropped. Other characters, and bytes that are no UTF-8,
// stay as they are.
std::string folded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const auto b0 = static_cast<unsigned char>(text[at]);
    if (b0 < 0x80) {
      out.push_back(static_cast<char>(b0 >= 'A' && b0 <= 'Z' ? b0 + ('a' - 'A') : b0));
      ++at;
      continue;
    }
    std::size_t length = b0 >= 0xF0 ? 4 : b0 >= 0xE0 ? 3 : b0 >= 0xC0 ? 2 : 1;
    char32_t c = length == 4 ? b0 & 0x07 : length == 3 ? b0 & 0x0F : b0 & 0x1F;
    bool valid = length > 1 && at + length <= text.size();
    for (std::size_t i = 1; valid && i < length; ++i) {
      const auto b = static_cast<unsigned char>(text[at + i]);
      valid = (b & 0xC0) == 0x80;
      c = (c << 6) | (b & 0x3F);
    }
    if (!valid) {
      out.push_back(static_cast<char>(b0));
      ++at;
      continue;
    }
    at += length;
    if (c >= 0x300 && c <= 0x36F) continue;  // a combining mark
    char base = '.';
    if (c >= 0xC0 && c <= 0xFF) base = kLatin1[c - 0xC0];
    else if (c >= 0x100 && c <= 0x17F) base = kLatinExtendedA[c - 0x100];
    if (base != '.') out.push_back(base);
    else appendUtf8(out, c >= 0xC0 && c <= 0xDE && c != 0xD7 ? c + 0x20 : c);
  }
  return out;
}

ConnectionRow rowOf(const HXConnection& record) {
  return ConnectionRow{record.connImage, record.connSimpleName, record.connHostname,
                       record.connPort,  record.connUID,        record.connPID,
                       record.connDate,  record.connColor,      record.connIsBlocked};
}

void setItem(MenuItem& item, std::string title, bool hidden) {
  item.title = std::move(title);
  item.hidden = hidden;
  item.enabled = true;
}

bool allDigits(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

HXConnectionController::HXConnectionController(Links links)
    : links_(std::move(links)),
      builder_(ConnectionEventBuilder::Links{
          links_.processControl,
          [this](std::int32_t pid) { return links_.mymanagesocketagent.infoprocess(pid); },
          [this](std::int32_t pid) { return links_.mymanagesocketagent.infoRootProcess(pid); },
          links_.processOwners,
          links_.myUID,
      }),
      context_{links_.globals.mainLoop,
               lookUps_,
               links_.fileIcons,
               links_.hostNames,
               links_.wallClock,
               [this] { return hostNames_; },
               [this](const HXConnection& record) { redrawRow(record); }},
      listChanged_(allConsLibraryController.changed,
                   [this] {
                     if (!appending_) bindToGlobalArray();
                   }),
      appListChanged_(appConnsLibraryController.changed, [this] { bindToGlobalArray(); }) {
  // A new row is no selection: the user's selection stays where it was.
  allConsLibraryController.selectsInsertedObjects = false;
  appConnsLibraryController.selectsInsertedObjects = false;
}

HXConnectionController::~HXConnectionController() {
  lookUps_.stop();
  if (connsTimer_ != 0) links_.globals.mainLoop.cancelTimer(connsTimer_);
}

// ---- Start, purge, rows ----

void HXConnectionController::awakeFromNib() {
  if (connsTimer_ == 0)
    connsTimer_ = links_.globals.mainLoop.scheduleTimer(kLogTimerInterval, true, [this] { timerAction(); });
  loggingControl();
  startReadConnection();
}

void HXConnectionController::startReadConnection() {
  if (links_.startReadConnection) links_.startReadConnection();
}

void HXConnectionController::timerAction() {
  // The slider's latest value: a new limit applies from this tick on.
  const double ttl = links_.globals.preferences.configuration().connectionsTTL;
  const auto now = links_.globals.mainLoop.now();
  std::vector<std::shared_ptr<HXConnection>> old;
  for (const auto& record : allConsLibraryController.content())
    if (std::chrono::duration<double>(now - record->connRealDate).count() >= ttl) old.push_back(record);
  if (!old.empty()) allConsLibraryController.removeObjects(old);
}

void HXConnectionController::bindToGlobalArray() {
  view.rows.clear();
  rowRecords_.clear();
  for (const auto& record : allConsLibraryController.arrangedObjects()) {
    view.rows.push_back(rowOf(*record));
    rowRecords_.push_back(record.get());
  }
  view.selectionIndex = allConsLibraryController.selectionIndex();
  if (view.scrollToRow && *view.scrollToRow >= view.rows.size())
    view.scrollToRow = view.rows.empty() ? std::nullopt : std::optional<std::size_t>(view.rows.size() - 1);
  view.appRows.clear();
  appRowRecords_.clear();
  for (const auto& record : appConnsLibraryController.arrangedObjects()) {
    view.appRows.push_back(rowOf(*record));
    appRowRecords_.push_back(record.get());
  }
  view.appSelectionIndex = appConnsLibraryController.selectionIndex();
  notify();
}

// A late fact redraws its record's rows only. Facts land soon after the record's arrival, so the
// search starts from the newest rows.
void HXConnectionController::redrawRow(const HXConnection& record) {
  const auto redraw = [&](std::vector<ConnectionRow>& rows, const std::vector<const HXConnection*>& records) {
    for (std::size_t i = records.size(); i-- > 0;)
      if (records[i] == &record) {
        rows[i] = rowOf(record);
        return;
      }
  };
  redraw(view.rows, rowRecords_);
  redraw(view.appRows, appRowRecords_);
  notify();
}

// ---- Records from the stream ----

void HXConnectionController::buildConnection(const std::vector<std::string>& fields) {
  ConnectionEvent event = builder_.build(fields);
  links_.globals.mainLoop.post([this, event = std::move(event)] { addConnection(event); });
}

void HXConnectionController::addConnection(const ConnectionEvent& event) {
  // A passed connection of a process that has ended has no row, only its line in the file.
  if (event.path != "error") {
    auto record =
        HXConnection::initWithConnProcessName(context_, event.path, event.address, event.port, event.pid, event.uid,
                                              event.blocked, event.via, event.xpcPath, event.otherUser);
    if (autoscroll_) view.scrollToRow = view.rows.size();
    // A new row is appended to the views as it stands; rebuilding them for each arrival would make
    // a busy log's cost grow with its length.
    appending_ = true;
    allConsLibraryController.addObject(record);
    appending_ = false;
    view.rows.push_back(rowOf(*record));
    rowRecords_.push_back(record.get());
    if (appConnsLibraryController.arranges(*record)) {
      view.appRows.push_back(rowOf(*record));
      appRowRecords_.push_back(record.get());
    }
    notify();
  }
  // The line is data: the logger takes it as it stands, never as a format.
  if (links_.globals.loggaSuFile) links_.logger.log(connectionLogLine(event, links_.wallClock.now()));
}

// ---- The switch ----

void HXConnectionController::loggingControl() {
  auto& loop = links_.globals.mainLoop;
  if (!loop.isLoopThread()) {
    // An import refreshes from the request queue; the preferences' controls are the main loop's.
    loop.post([this] { loggingControl(); });
    return;
  }
  if (links_.globals.activateLogging) {
    links_.preferencescontroller.enableLogsOptions();
    loadKext();
  } else {
    links_.preferencescontroller.disableLogsOptions();
    unloadKext();
  }
}

void HXConnectionController::loadKext() {
  links_.distributedCenter.postNotificationName(connectionevents::kLoadKext, connectionevents::kConnKextObject,
                                                plist::Dictionary{{connectionevents::kKextPathKey, plist::Value("")}});
}

void HXConnectionController::unloadKext() {
  links_.distributedCenter.postNotificationName(connectionevents::kUnloadKext, connectionevents::kConnKextObject,
                                                plist::Dictionary{{connectionevents::kKextPathKey, plist::Value("")}});
}

bool HXConnectionController::connKextIsRunning() const { return links_.logFilter.isRunning(); }

void HXConnectionController::toggleLogsFromMenu() {
  links_.globals.activateLogging = !links_.globals.activateLogging;
  loggingControl();
  links_.halvexcontroller.updateToolbarLeds();
}

void HXConnectionController::clickToggleLoggingOnAndOff(bool senderState) {
  toggleLogsFromMenu();
  links_.preferencescontroller.setLogToFileControl(senderState);
}

void HXConnectionController::toggleHostnames(bool senderState) {
  if (!links_.globals.activateLogging) return;
  hostNames_ = senderState;
  view.hostnamesButton.state = senderState;
  for (const auto& record : allConsLibraryController.arrangedObjects()) record->updateRecord(context_);
  bindToGlobalArray();
}

void HXConnectionController::switchLogAutoscroll(bool senderState) {
  autoscroll_ = senderState;
  view.autoscrollButton.state = senderState;
  notify();
}

void HXConnectionController::cleanLogsList() {
  allConsLibraryController.setContent({});
  appConnsLibraryController.contentReplaced();
}

void HXConnectionController::windowWillClose() {
  cleanLogsList();
  links_.logger.print("closed connections window\n");
  unloadKext();
}

// ---- The detail popover and the menus ----

std::shared_ptr<HXConnection> HXConnectionController::singleSelected(const ArrayController<HXConnection>& list) const {
  const auto selected = list.selectedObjects();
  return selected.size() == 1 ? selected.front() : nullptr;
}

void HXConnectionController::doubleClickAllConnsTableView() {
  const auto record = singleSelected(allConsLibraryController);
  if (!record) return;
  auto& popover = view.connInfoPopover;
  const std::uint64_t generation = ++popoverGeneration_;
  popover.shown = true;
  popover.infopopoverImage = record->connImage;
  popover.infopopoverAppName = record->connSimpleName;
  popover.infopopoverIPAddress = record->connIPAddress;
  popover.infopopoverPort = std::to_string(record->connPort);
  popover.infopopoverPath = record->connProcessName;
  popover.infopopoverDate = record->connDate;
  popover.infopopoverUsername.clear();
  auto& loop = links_.globals.mainLoop;
  auto& background = links_.globals.globalBackground;

  // The user: the first word of what `id` prints about the uid; a uid the look-up could not find
  // ("-1") is asked about nowhere.
  if (allDigits(record->connUID)) {
    background.async([this, &loop, generation, uid = record->connUID] {
      const std::string output = links_.commandRunner.eseguiShellCommand("/usr/bin/id", {uid});
      const auto start = output.find_first_not_of(" \t\n");
      const std::string word = start == std::string::npos
                                   ? std::string()
                                   : output.substr(start, output.find_first_of(" \t\n", start) - start);
      loop.post([this, generation, word] {
        if (generation != popoverGeneration_) return;
        view.connInfoPopover.infopopoverUsername = word;
        notify();
      });
    });
  } else {
    popover.infopopoverUsername = "unknown";
  }

  if (hostNames_) {
    popover.infopopoverHostname = record->connHostname.empty() ? "not found" : record->connHostname;
  } else {
    popover.infopopoverHostname.clear();
    background.async([this, &loop, generation, address = record->connIPAddress] {
      const auto names = links_.hostNames.namesForAddress(address);
      loop.post([this, generation, name = names.empty() ? std::string("not found") : names.front()] {
        if (generation != popoverGeneration_) return;
        view.connInfoPopover.infopopoverHostname = name;
        notify();
      });
    });
  }
  notify();
}

void HXConnectionController::menuWillOpen(ConnectionMenu menu) {
  switch (menu) {
    case ConnectionMenu::mainActionMenu: updateMainMenu(); break;
    case ConnectionMenu::contextualMenu: updateContextualMenu(); break;
    case ConnectionMenu::appLogsMenu: updateAppLogsMenu(); break;
  }
  notify();
}

void HXConnectionController::updateMainMenu() {
  view.toggleLogMenuItem.title = links_.globals.activateLogging ? "Disable Logging" : "Enable Logging";
}

void HXConnectionController::updateContextualMenu() {
  MenuItem* items[] = {&view.item1,        &view.item2,         &view.reveal1,     &view.reveal2,
                       &view.blockAppItem, &view.blockPortItem, &view.blockIPItem, &view.passAppItem,
                       &view.passPortItem, &view.passIPItem,    &view.copyIPItem,  &view.copyHostItem};
  const auto record = singleSelected(allConsLibraryController);
  if (!record) {
    for (MenuItem* item : items) item->enabled = false;
    return;
  }
  const std::string& address = record->connIPAddress;
  const std::string& name = record->connSimpleName;
  const std::string port = std::to_string(record->connPort);
  const bool blocked = record->connIsBlocked;
  setItem(view.item1, "Put " + address + " in Dovik Black List", false);
  setItem(view.item2, "Copy " + address + " to a new or existing Dovik group", false);
  if (record->connRepresentedXPC.empty()) {
    setItem(view.reveal1, "Reveal " + name + " in Finder", false);
    setItem(view.reveal2, view.reveal2.title, true);
  } else {
    setItem(view.reveal1, "Reveal " + record->connRepresentedXPC + " in Finder", false);
    setItem(view.reveal2, "Reveal " + record->connViaApp + " in Finder", false);
  }
  setItem(view.blockAppItem, "Block all " + name + " connections", blocked);
  setItem(view.blockPortItem, "Block all " + name + " connections to port " + port, blocked);
  setItem(view.blockIPItem, "Block all " + name + " connections to " + address, blocked);
  setItem(view.passAppItem, "Pass all " + name + " connections", !blocked);
  setItem(view.passPortItem, "Pass all " + name + " connections to port " + port, !blocked);
  setItem(view.passIPItem, "Pass all " + name + " connections to " + address, !blocked);
  view.copyIPItem.enabled = true;
  // With no name there is nothing more to copy than the address.
  view.copyHostItem.enabled = record->connHostname != record->connIPAddress;
}

void HXConnectionController::updateAppLogsMenu() {
  const auto record = singleSelected(appConnsLibraryController);
  view.copyIPItem2.enabled = record != nullptr;
  view.copyHostItem2.enabled = record && record->connHostname != record->connIPAddress;
}

// ---- Actions on a row ----

void HXConnectionController::setAppRuleFromLogs(LogRuleItem sender) {
  std::vector<LogConnectionFacts> rows;
  for (const auto& record : allConsLibraryController.selectedObjects())
    rows.push_back(LogConnectionFacts{record->connProcessName, record->xpcPath, record->connRepresentedXPC,
                                      record->connIPAddress, record->connPort});
  links_.halvexcontroller.setAppRuleFromLogs(sender, rows);
}

void HXConnectionController::revealInFinder() {
  const auto record = singleSelected(allConsLibraryController);
  if (!record) return;
  Workspace& workspace = links_.workspace;
  links_.globals.globalBackground.async(
      [&workspace, path = record->connProcessName] { workspace.revealInFolder(path); });
}

void HXConnectionController::revealInFinderResponsibleApp() {
  const auto record = singleSelected(allConsLibraryController);
  if (!record) return;
  Workspace& workspace = links_.workspace;
  links_.globals.globalBackground.async([&workspace, path = record->xpcPath] { workspace.revealInFolder(path); });
}

void HXConnectionController::copyIP() {
  if (const auto record = singleSelected(allConsLibraryController)) links_.pasteboard.setString(record->connIPAddress);
}

void HXConnectionController::copyHostname() {
  if (const auto record = singleSelected(allConsLibraryController)) links_.pasteboard.setString(record->connHostname);
}

void HXConnectionController::appcopyIP() {
  if (const auto record = singleSelected(appConnsLibraryController)) links_.pasteboard.setString(record->connIPAddress);
}

void HXConnectionController::appcopyHostname() {
  if (const auto record = singleSelected(appConnsLibraryController)) links_.pasteboard.setString(record->connHostname);
}

bool HXConnectionController::checkDovik() {
  const auto names = links_.runningApplications.localizedNames();
  if (std::find(names.begin(), names.end(), "Dovik") != names.end()) return true;
  AlertDescription alert;
  alert.messageText = "Dovik is not running!";
  alert.informativeText =
      std::string(
          "This Halvex feature requires Dovik to be installed and running. Please run Dovik and retry. More "
          "information about Dovik at ") +
      kDovikWebAddress;
  links_.dialogs.runModal(alert);
  return false;
}

void HXConnectionController::postToDovik(const char* name, const ArrayController<HXConnection>& list) {
  if (!checkDovik()) return;
  plist::Array addresses;
  for (const auto& record : list.selectedObjects()) addresses.emplace_back(record->connIPAddress);
  if (addresses.empty()) return;
  links_.distributedCenter.postNotificationName(name, kDovikObject,
                                                plist::Dictionary{{"addresses", plist::Value(std::move(addresses))}});
}

void HXConnectionController::blacklistInDovik() { postToDovik(kBlacklistIPs, allConsLibraryController); }
void HXConnectionController::copyInDovikGroup() { postToDovik(kAddToGroup, allConsLibraryController); }
void HXConnectionController::appLogsblacklistInDovik() { postToDovik(kBlacklistIPs, appConnsLibraryController); }
void HXConnectionController::appLogscopyInDovikGroup() { postToDovik(kAddToGroup, appConnsLibraryController); }

void HXConnectionController::openLogsInConsole() {
  Workspace& workspace = links_.workspace;
  links_.globals.globalBackground.async([&workspace, path = links_.paths.agentLogFile()] { workspace.openFile(path); });
}

// ---- The per-app log ----

void HXConnectionController::getAppLogs() {
  const auto apps = links_.halvexcontroller.appsLibraryController.selectedObjects();
  if (apps.size() != 1) return;
  std::string appPath;
  {
    std::lock_guard lock(links_.halvexcontroller.libraryLock());
    appPath = apps.front()->appPath;
  }
  appLogsPredicate = appPath;
  appConnsLibraryController.setFilter([wanted = folded(appPath)](const HXConnection& record) {
    return folded(record.connProcessName).find(wanted) != std::string::npos ||
           folded(record.xpcPath).find(wanted) != std::string::npos;
  });
}

void HXConnectionController::openLogsPopover() {
  view.appLogsPopoverShown = true;
  getAppLogs();
  notify();
}

}  // namespace halvex
