#pragma once
// The front end of a headless agent: its own main loop, and dialogs, alerts, sound, clipboard and
// file showing on the console. Answers and commands come from standard input (a terminal or a
// pipe) or from an answers file.

#include <cstdio>
#include <memory>

#include "agent/FrontEnd.h"
#include "runtime/AgentLoop.h"
#include "ui/console/ConsoleAlertPresenter.h"
#include "ui/console/ConsoleDialogs.h"
#include "ui/console/ConsoleInput.h"
#include "ui/console/ConsoleOutputs.h"
#include "ui/console/ConsoleSession.h"

namespace halvex {

class ConsoleFrontEnd {
 public:
  ConsoleFrontEnd(const LineLogger& logger, ProcessRunner& processes)
      : input_(loop_), dialogs_(loop_, logger, input_), alerts_(logger), pasteboard_(logger), workspace_(processes) {}

  FrontEnd bundle() {
    return FrontEnd{loop_, dialogs_, alerts_, sound_, pasteboard_, workspace_, [this](int code) { loop_.quit(code); }};
  }
  MainLoop& mainLoop() { return loop_; }
  // Joins the agent: from now on the lines of `answers` answer its alerts and dialogs and ask
  // questions. `terminal`: a person types at it, and alerts prompt with the time left.
  void attach(Composition& agent, std::FILE* answers, bool terminal) {
    session_ = std::make_unique<ConsoleSession>(agent, dialogs_, alerts_, stdout);
    alerts_.setPrompting(terminal);
    input_.start(answers, terminal, [this](const std::string& line) { session_->execute(line); });
  }
  // Serves the main loop until the agent quits; answers the exit code.
  int run() { return loop_.run(); }

 private:
  AgentLoop loop_;
  ConsoleInput input_;
  ConsoleDialogs dialogs_;
  ConsoleAlertPresenter alerts_;
  SilentSoundPlayer sound_;
  MemoryPasteboard pasteboard_;
  XdgWorkspace workspace_;
  std::unique_ptr<ConsoleSession> session_;
};

}  // namespace halvex
