#include "ui/console/ConsoleSession.h"

#include <sstream>
#include <vector>

#include "decision/HXNotifyWindowController.h"
#include "rules/HXApplication.h"

namespace halvex {
namespace {

std::vector<std::string> words(std::string_view text) {
  std::istringstream in{std::string(text.substr(0, 64))};
  std::vector<std::string> out;
  for (std::string w; in >> w;) out.push_back(w);
  return out;
}

bool isCommandWord(const std::string& word) {
  for (const char* command : {"whois", "host", "country", "signature", "user"})
    if (word == command) return true;
  return false;
}

}  // namespace

ConsoleSession::ConsoleSession(Composition& agent, ConsoleDialogs& dialogs, ConsoleAlertPresenter& alerts,
                               std::FILE* out)
    : agent_(agent),
      dialogs_(dialogs),
      out_(out),
      commands_(agent.sockController, agent.flagsController, agent.signatureInspector, agent.ports.processOwners,
                agent.ports.fileSystem, agent.globals.globalBackground, agent.globals.findFlag, agent.frontEnd.mainLoop,
                out),
      openedConnection_(alerts.opened, [this](const std::string&) { alertOpened(); }) {}

void ConsoleSession::execute(std::string_view text) {
  // Too long, or no plain text: the commands refuse it with their own words.
  if (consoleLineFault(text)) return commands_.execute(text);
  const auto w = words(text);
  if (w.empty()) return;
  if (w == std::vector<std::string>{"apps"}) return listApps();
  if (w == std::vector<std::string>{"status"}) return status();
  if (w == std::vector<std::string>{"help"}) return help();
  if (w.size() == 2 && w[0] == "alerts" && (w[1] == "on" || w[1] == "off")) return switchAlerts(w[1] == "on");
  if (w.size() == 2 && w[0] == "logging" && (w[1] == "on" || w[1] == "off")) return switchLogging(w[1] == "on");
  if (w == std::vector<std::string>{"log"}) return listLog();
  if (w == std::vector<std::string>{"log", "clear"}) {
    agent_.connectionController.cleanLogsList();
    return line("[log] cleared");
  }

  const AlertLine parsed = parseAlertLine(text);
  switch (parsed.kind) {
    case AlertLine::Kind::notAnAnswer:
      if (isCommandWord(w[0])) return commands_.execute(text);
      return help();
    case AlertLine::Kind::invalid: line("[alert] " + printableText(parsed.error) + "; answers: " + kAlertUsage); return;
    default: break;
  }
  if (!agent_.alertAnswers.openAlerts().empty()) return answerOldest(parsed);
  // Asking about the signature is no answer: without an alert it is the command's own question.
  if (parsed.kind == AlertLine::Kind::signature) return commands_.execute(text);
  if (waiting_.size() >= kMaxWaitingAnswers) {
    line("[alert] no alert is open, and " + std::to_string(kMaxWaitingAnswers) + " answers wait already: refused");
    return;
  }
  waiting_.push_back(parsed);
  line("[alert] no alert is open: the answer waits for the next");
}

void ConsoleSession::alertOpened() {
  if (waiting_.empty()) return;
  // After the opening has finished drawing: the answer presses the buttons of a complete alert.
  agent_.frontEnd.mainLoop.post([this] {
    if (waiting_.empty() || agent_.alertAnswers.openAlerts().empty()) return;
    const AlertLine next = waiting_.front();
    waiting_.pop_front();
    answerOldest(next);
  });
}

void ConsoleSession::answerOldest(const AlertLine& answer) {
  const std::string tag = agent_.alertAnswers.openAlerts().front();
  const auto alert = agent_.alertAnswers.find(tag);
  switch (answer.kind) {
    case AlertLine::Kind::answer: {
      const auto outcome = agent_.alertAnswers.answer(tag, answer.answer);
      if (!outcome.answered) line("[alert " + tag + "] " + printableText(outcome.error) + "; the alert stays open");
      return;
    }
    case AlertLine::Kind::silence:
      // The sheet's second button: alerts off, and the request passes.
      dialogs_.scriptAnswer(AlertResponse{1001, false});
      alert->clickSilenceBtn();
      return;
    case AlertLine::Kind::kill:
      if (alert->window.terminateProcessMenuItem.hidden) {
        line("[alert " + tag + "] the process is not the console user's: not ended");
        return;
      }
      alert->killProcess();
      line("[alert " + tag + "] ending process " + std::to_string(alert->parameters.processPid) +
           "; the alert stays open");
      return;
    case AlertLine::Kind::signature:
      line("[alert " + tag + "] asking who signed " + printableText(alert->parameters.processName));
      alert->clickGetSignatureInfo();
      return;
    case AlertLine::Kind::wait:
      alert->stopAndRestartTimeout();
      line("[alert " + tag + "] " + std::to_string(static_cast<long long>(alert->window.timeoutProgress.value)) +
           " s left");
      return;
    default: return;
  }
}

void ConsoleSession::switchAlerts(bool on) {
  if (agent_.globals.enableNotifications != on) agent_.appsLibrary.switchNotificationAlertsStatus();
  line(std::string("[alerts] ") + (on ? "on" : "off"));
}

void ConsoleSession::switchLogging(bool on) {
  if (agent_.globals.activateLogging != on) agent_.connectionController.toggleLogsFromMenu();
  line(std::string("[logging] ") + (on ? "on" : "off"));
}

void ConsoleSession::listLog() {
  const auto& rows = agent_.connectionController.view.rows;
  line("[log] " + std::to_string(rows.size()) + (rows.size() == 1 ? " row" : " rows"));
  for (const auto& row : rows) {
    // The seven columns in the table's order, the verdict first; outside text made safe.
    line("[log] " + std::string(row.blocked ? "BLOCK" : "PASS") + " " + printableText(row.columnImage.name) + " | " +
         printableText(row.columnProcessName) + " | " + printableText(row.columnAddress) + " | " +
         std::to_string(row.columnPort) + " | " + printableText(row.columnUID) + " | " + std::to_string(row.columnPID) +
         " | " + printableText(row.columnDate));
  }
}

void ConsoleSession::status() {
  const auto& g = agent_.globals;
  std::string open;
  for (const auto& tag : agent_.alertAnswers.openAlerts()) open += " " + tag;
  std::size_t apps = 0;
  {
    std::lock_guard lock(agent_.appsLibrary.libraryLock());
    apps = agent_.appsLibrary.appsLibrary.size();
  }
  line(std::string("[status] alerts ") + (g.enableNotifications ? "on" : "off") + ", logging " +
       (g.activateLogging ? "on" : "off") + ", " + (open.empty() ? "no alert open" : "alerts open:" + open) + ", " +
       std::to_string(apps) + (apps == 1 ? " managed app" : " managed apps"));
}

void ConsoleSession::help() {
  line("[help] pass|block [app [forever|login|MINUTES] | port | address [quiet [SECONDS]] | network NET]");
  line("[help]                    answers the oldest open alert (or the next one)");
  line("[help] silence | kill | wait   alerts off and pass / end the process / the full time again");
  line("[help] signature        who signed the asking program");
  line("[help] alerts on|off      switches alerts");
  line("[help] logging on|off     switches the connection log");
  line("[help] log [clear]        the live log's rows (icon | name | host | port | uid | pid | date), or empties it");
  line("[help] status             alerts, logging, open alerts, managed apps");
  line("[help] apps               the managed apps, their rules and signatures");
  commands_.execute("help");
}

void ConsoleSession::listApps() {
  std::lock_guard lock(agent_.appsLibrary.libraryLock());
  const auto& apps = agent_.appsLibrary.appsLibrary;
  line("[apps] " + std::to_string(apps.size()) + (apps.size() == 1 ? " app" : " apps"));
  for (const auto& app : apps) {
    std::string entries;
    for (const auto& entry : app->appMatches) entries += " " + entry;
    const std::string signature = app->appIsSignedByApple ? "signed by the vendor"
                                  : app->appIsSigned      ? (app->appHasValidSignature ? "signed" : "signed, invalid")
                                                          : "not signed";
    line("[apps] " + printableText(app->appPath) + " state " + std::to_string(app->appIsBlockedOrAllowed.load()) + " " +
         signature + (app->appSignatureInfo.empty() ? "" : " (" + printableText(app->appSignatureInfo) + ")") +
         (entries.empty() ? "" : ":" + printableText(entries)));
  }
}

void ConsoleSession::line(const std::string& text) {
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
}

}  // namespace halvex
