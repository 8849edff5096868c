#pragma once
// The headless agent's conversation. Each line a person types (or a script feeds) answers the
// oldest open alert (see AlertLine.h), switches alerts, reports the agent's state, or asks a
// question of the commands:
//
//   alerts on|off    switches alerts, as the status menu does
//   logging on|off   switches the connection log, as its menu item does
//   log              the live log's rows as the table shows them; "log clear" empties it
//   status           alerts and logging on or off, the open alerts, the managed apps
//   apps             the managed apps: state, entries, signature
//   help             the answers and commands; any line nobody understands also gets it
//
// An answer works the alert's controls and presses its button, as a window would. An answer that
// comes with no alert open waits for the next one. Lines arrive on the main loop.

#include <cstdio>
#include <deque>
#include <string>
#include <string_view>

#include "agent/Composition.h"
#include "ui/console/AlertLine.h"
#include "ui/console/ConsoleAlertPresenter.h"
#include "ui/console/ConsoleCommands.h"
#include "ui/console/ConsoleDialogs.h"

namespace halvex {

class ConsoleSession {
 public:
  // Answers kept for alerts to come; more are refused.
  static constexpr std::size_t kMaxWaitingAnswers = 64;

  ConsoleSession(Composition& agent, ConsoleDialogs& dialogs, ConsoleAlertPresenter& alerts, std::FILE* out);
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;

  // On the main loop.
  void execute(std::string_view line);

 private:
  void help();
  void status();
  void listApps();
  void switchAlerts(bool on);
  void switchLogging(bool on);
  void listLog();
  // Applies a parsed answer to the oldest open alert.
  void answerOldest(const AlertLine& answer);
  void alertOpened();
  void line(const std::string& text);

  Composition& agent_;
  ConsoleDialogs& dialogs_;
  std::FILE* out_;
  ConsoleCommands commands_;
  std::deque<AlertLine> waiting_;
  Connection openedConnection_;
};

}  // namespace halvex
