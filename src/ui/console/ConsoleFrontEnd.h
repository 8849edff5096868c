#pragma once
// The front end of a headless agent: its own main loop, and dialogs, alerts, sound, clipboard and
// file showing on the console.

#include <memory>

#include "agent/FrontEnd.h"
#include "runtime/AgentLoop.h"
#include "ui/console/ConsoleAlertPresenter.h"
#include "ui/console/ConsoleDialogs.h"
#include "ui/console/ConsoleOutputs.h"
#include "ui/console/ConsoleSession.h"

namespace halvex {

class ConsoleFrontEnd {
 public:
  ConsoleFrontEnd(const LineLogger& logger, ProcessRunner& processes)
      : dialogs_(loop_, logger), alerts_(logger), pasteboard_(logger), workspace_(processes) {}

  FrontEnd bundle() {
    return FrontEnd{loop_, dialogs_, alerts_, sound_, pasteboard_, workspace_, [this](int code) { loop_.quit(code); }};
  }
  MainLoop& mainLoop() { return loop_; }
  // Joins the agent: from now on the lines on standard input answer its alerts and ask questions.
  void attach(Composition& agent) {
    session_ = std::make_unique<ConsoleSession>(agent, stdout);
    session_->readFrom(stdin);
  }
  // Serves the main loop until the agent quits; answers the exit code.
  int run() { return loop_.run(); }

 private:
  AgentLoop loop_;
  ConsoleDialogs dialogs_;
  ConsoleAlertPresenter alerts_;
  SilentSoundPlayer sound_;
  MemoryPasteboard pasteboard_;
  XdgWorkspace workspace_;
  std::unique_ptr<ConsoleSession> session_;
};

}  // namespace halvex
