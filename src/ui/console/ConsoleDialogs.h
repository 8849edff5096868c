#pragma once
// Alerts for the headless agent: each alert is written to the console and to the log, and
// answered at once from a script of answers, or else with its first button.

#include <cstdio>
#include <deque>
#include <mutex>

#include "platform/Dialogs.h"
#include "runtime/LineLogger.h"
#include "runtime/MainLoop.h"

namespace halvex {

class ConsoleDialogs final : public Dialogs {
 public:
  ConsoleDialogs(MainLoop& loop, const LineLogger& logger, std::FILE* out = stdout);

  AlertResponse runModal(const AlertDescription& alert) override;
  void beginSheet(const std::string& window, const AlertDescription& alert, Completion completion) override;
  // There is no file panel on the console: the panel is cancelled, and the line says so.
  std::optional<std::string> runFilePanel(const FilePanelRequest& panel) override;

  // Answers for the next alerts, in order.
  void scriptAnswer(AlertResponse response);

 private:
  AlertResponse answer(const AlertDescription& alert);

  MainLoop& loop_;
  const LineLogger& logger_;
  std::FILE* out_;
  std::mutex mutex_;
  std::deque<AlertResponse> script_;
};

}  // namespace halvex
