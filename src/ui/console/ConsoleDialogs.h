#pragma once
// Dialogs for the headless agent: each is written to the console and to the log and answered from
// a script of answers, else from the console's input (a button's number or title), else, with no
// source of answers, with its first button, and the line says so.

#include <cstdio>
#include <deque>
#include <mutex>

#include "platform/Dialogs.h"
#include "runtime/LineLogger.h"
#include "runtime/MainLoop.h"
#include "ui/console/ConsoleInput.h"

namespace halvex {

class ConsoleDialogs final : public Dialogs {
 public:
  ConsoleDialogs(MainLoop& loop, const LineLogger& logger, ConsoleInput& input, std::FILE* out = stdout);

  AlertResponse runModal(const AlertDescription& alert) override;
  // Answered before it returns, the completion posted to the main loop.
  void beginSheet(const std::string& window, const AlertDescription& alert, Completion completion) override;
  // There is no file panel on the console: the panel is cancelled, and the line says so.
  std::optional<std::string> runFilePanel(const FilePanelRequest& panel) override;

  // Answers for the next dialogs, in order.
  void scriptAnswer(AlertResponse response);

 private:
  AlertResponse answer(const AlertDescription& alert);
  void line(const std::string& text);

  MainLoop& loop_;
  const LineLogger& logger_;
  ConsoleInput& input_;
  std::FILE* out_;
  std::mutex mutex_;
  std::deque<AlertResponse> script_;
};

}  // namespace halvex
