// The alert's answer: the scope and time controls, the buttons' phrases, the decision that
// becomes a reply and a rule, and the process menu.

#include <mutex>

#include "decision/HXNotifyWindowController.h"
#include "link/managesocketagent.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "rules/RulesContext.h"

namespace halvex {
namespace {

// An app verdict given by the alert's expiry holds for this long.
constexpr double kAutomaticVerdictSeconds = 30;

bool hasEntry(const HXApplication& app, const std::string& entry) {
  for (const auto& existing : app.appMatches)
    if (existing == entry) return true;
  return false;
}

bool cellEnabled(const Matrix& matrix, std::int64_t row) {
  if (row < 0) return false;
  const auto index = static_cast<std::size_t>(row);
  return index >= matrix.cellEnabled.size() || matrix.cellEnabled[index];
}

}  // namespace

void HXNotifyWindowController::userAction(const Button& sender) {
  const bool pass = &sender == &window.advancedPass;
  if (!pass && &sender != &window.advancedBlock) return;
  const std::int64_t row = window.actionMatrix.selectedRow;
  if (row < kRowApp || row > kRowNetwork) return;
  if (!claimEnding()) return;

  auto& loop = context_.globals.mainLoop;
  if (managerTimer_) loop.cancelTimer(managerTimer_);
  managerTimer_ = 0;
  cancelTimers();
  const std::string verdict = pass ? "pass" : "block";
  switch (row) {
    case kRowApp: sendUserChoice(pass ? 0 : 1, std::nullopt, std::nullopt, "", false, ""); break;
    case kRowPort: sendUserChoice(4, verdict, "Port", "", false, ""); break;
    case kRowAddress: sendUserChoice(4, verdict, "IP", "", false, ""); break;
    default: {
      const bool ipv4 = parameters.processIP.find('.') != std::string::npos;
      const std::string network = ipv4 ? window.matrixlabel3.selectedTitle : window.matrixlabel3V6Title.title;
      sendUserChoice(4, verdict, "IP", "", false, network);
    }
  }
  finishAlert(AlertEnding::answered);
}

void HXNotifyWindowController::selectActionMatrix(std::int64_t row) {
  // A disabled cell cannot be chosen.
  if (row < kRowApp || row > kRowNetwork || !cellEnabled(window.actionMatrix, row)) return;
  window.actionMatrix.selectedRow = row;
  context_.globals.lastActionRow = row;
  updateMatrixGUI();
  refresh();
}

void HXNotifyWindowController::selectMatrixLabel3(std::int64_t index) {
  window.matrixlabel3.select(index);
  selectActionMatrix(kRowNetwork);
}

void HXNotifyWindowController::updateWithSlider(double minutes) {
  const auto whole = static_cast<std::int64_t>(minutes);
  window.timeSlider.value = static_cast<double>(whole);
  window.timeMenuItem.title = minutesTitle("This app for ", window.timeSlider.value);
  if (window.timeButton.items.size() > static_cast<std::size_t>(kTimeMenuItem)) {
    window.timeButton.items[kTimeMenuItem] = window.timeMenuItem.title;
    if (window.timeButton.selectedIndex == kTimeMenuItem) window.timeButton.selectedTitle = window.timeMenuItem.title;
  }
  context_.globals.preferences.updateConfiguration([whole](auto& c) { c.notificationDefaultTime = whole; });
  updateAdvancedBtnLabels();
  refresh();
}

void HXNotifyWindowController::clickPopupButton(std::int64_t index) {
  // The item that holds the slider stands for the minutes it sets.
  if (index == kTimeMenuChooser) index = kTimeMenuItem;
  window.timeButton.select(index);
  context_.globals.preferences.updateConfiguration([index](auto& c) { c.notificationDefaultChoice = index; });
  window.actionMatrix.selectedRow = kRowApp;
  context_.globals.lastActionRow = kRowApp;
  updateMatrixGUI();
  stopAndRestartTimeout();
  refresh();
}

void HXNotifyWindowController::rememberPopupMenu() {
  const auto index = window.timeButton.selectedIndex;
  if (index != kTimeForever && index != kTimeNextLogin && index != kTimeMenuItem)
    window.timeButton.select(kTimeMenuItem);
}

void HXNotifyWindowController::showHideQuietSlider(bool on) {
  window.quietButton.state = on;
  context_.globals.preferences.updateConfiguration([on](auto& c) { c.quietButtonState = on ? 1 : 0; });
  updateMatrixGUI();
  refresh();
}

void HXNotifyWindowController::updateQuietSlider(double seconds) {
  const auto whole = static_cast<std::int64_t>(seconds);
  window.quietSlider.value = static_cast<double>(whole);
  context_.globals.preferences.updateConfiguration([whole](auto& c) { c.quietTime = static_cast<double>(whole); });
  window.quietButton.title = "Silence for " + std::to_string(whole) + " seconds";
  refresh();
}

void HXNotifyWindowController::updateMatrixGUI() {
  const bool address = window.actionMatrix.selectedRow == kRowAddress;
  window.quietButton.hidden = !address;
  window.quietSlider.hidden = !address || !window.quietButton.state;
  updateAdvancedBtnLabels();
}

void HXNotifyWindowController::updateAdvancedBtnLabels() {
  std::string phrase;
  switch (window.actionMatrix.selectedRow) {
    case kRowApp:
      if (window.timeButton.selectedIndex == kTimeNextLogin) {
        phrase = "this app until next logout";
      } else if (window.timeButton.selectedIndex == kTimeMenuItem) {
        phrase = minutesTitle("this app for ", window.timeSlider.value);
      } else {
        phrase = "this app forever";
      }
      break;
    case kRowPort: phrase = "port " + parameters.processPort; break;
    case kRowAddress: phrase = parameters.processIP; break;
    default:
      phrase = "network " + (parameters.processIP.find('.') != std::string::npos ? window.matrixlabel3.selectedTitle
                                                                                 : window.matrixlabel3V6Title.title);
  }
  window.advancedPass.title = "Pass " + phrase;
  window.advancedBlock.title = "Block " + phrase;
}

void HXNotifyWindowController::sendUserChoice(std::int64_t choice, std::optional<std::string> action,
                                              std::optional<std::string> iporport, const std::string& /*timervalue*/,
                                              bool isAuto, const std::string& subnet) {
  auto& globals = context_.globals;
  const std::string& path = parameters.processName;
  // The app and the mirror change here, on the main loop, while readers elsewhere hold the lock.
  std::lock_guard lock(globals.appsLibraryLock);

  if (choice == 0 || choice == 1) {
    const bool known = appExistsInGlobalArray(path);
    reply(" " + std::to_string(choice) + " # #");
    auto app = known ? getAppFromGlobalArray(path) : generateHXApplication(context_.rulesContext, choice, path);
    if (known) app->setRule(choice);
    applyAppDuration(*app, isAuto);
    if (!known) {
      globals.globalAppsArray.insert(globals.globalAppsArray.begin(), app);
      globals.notificationCenter.post("copyArrayAppLibrary");
    }
    resumeQueue(parameters.tagNotify);
    return;
  }
  if (choice != 4) return;

  const std::string actionDigit = action == "pass" ? "0" : action == "block" ? "1" : "";
  const std::string kindDigit = iporport == "IP" ? "0" : iporport == "Port" ? "1" : "";
  reply(" 4 " + kindDigit + " " + actionDigit);
  if (!iporport) return;

  const bool known = appExistsInGlobalArray(path);
  auto app = known ? getAppFromGlobalArray(path) : generateHXApplication(context_.rulesContext, 4, path);
  if (window.quietButton.state && action) app->setQuiet(*action, globals.preferences.configuration().quietTime);

  const std::string prefix = action == "pass" ? "@" : "#";
  const std::string value =
      *iporport == "IP" ? (subnet.empty() ? parameters.processIP : subnet) : parameters.processPort;
  addRuleEntry(*app, !known, *iporport, prefix + value, subnet);
  resumeQueue(parameters.tagNotify);
}

void HXNotifyWindowController::applyAppDuration(HXApplication& app, bool isAuto) const {
  switch (window.timeButton.selectedIndex) {
    case kTimeForever: app.appIsPersistent = true; break;
    case kTimeNextLogin:
      // No timer: the app lives until the agent quits, since snapshots leave it out.
      app.appIsPersistent = false;
      app.appHasTimer = true;
      break;
    case kTimeMenuItem:
      app.appIsPersistent = false;
      app.setAppTimer(window.timeSlider.value * 60);
      app.appHasTimer = true;
      break;
    default: break;
  }
  if (isAuto) {
    app.appIsPersistent = false;
    app.setAppTimer(kAutomaticVerdictSeconds);
    app.appHasTimer = true;
  }
}

void HXNotifyWindowController::addRuleEntry(HXApplication& app, bool isNew, const std::string& iporport,
                                            const std::string& entry, const std::string& subnet) {
  auto& globals = context_.globals;
  // A port rule of a known app goes to the front of its list, an address rule to the end; a
  // repeat adds nothing.
  if (!hasEntry(app, entry)) {
    if (iporport == "Port") {
      app.appMatches.insert(app.appMatches.begin(), entry);
    } else {
      app.appMatches.push_back(entry);
    }
  }
  if (isNew) {
    globals.globalAppsArray.insert(globals.globalAppsArray.begin(), app.shared_from_this());
    globals.notificationCenter.post("copyArrayAppLibrary");
    if (iporport == "IP") globals.notificationCenter.post("sendConfiguration");
  } else if (iporport == "IP" && !subnet.empty()) {
    globals.notificationCenter.post("sendConfiguration");
  }
}

// ---- The process menu ----

void HXNotifyWindowController::killProcess() {
  // The pid was read as a number; 0 and negative pids name groups of processes, never one.
  const std::int32_t pid = parameters.processPid;
  if (pid <= 0) return;
  const CommandRunner& runner = context_.commandRunner;
  context_.globals.globalBackground.async(
      [&runner, pid] { (void)runner.eseguiShellCommand("/bin/kill", {std::to_string(pid)}); });
}

void HXNotifyWindowController::revealAppInFinder() {
  Workspace& workspace = context_.workspace;
  context_.globals.globalBackground.async(
      [&workspace, path = parameters.processName] { workspace.revealInFolder(path); });
}

void HXNotifyWindowController::copyIPToClipboard() { context_.pasteboard.setString(parameters.processIP); }
void HXNotifyWindowController::copyPortToClipboard() { context_.pasteboard.setString(parameters.processPort); }
void HXNotifyWindowController::copyPathToClipboard() { context_.pasteboard.setString(parameters.processName); }
void HXNotifyWindowController::copyHostnameToClipboard() {
  if (!window.currentHostName.empty()) context_.pasteboard.setString(window.currentHostName);
}

}  // namespace halvex
