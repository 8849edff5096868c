#pragma once
// What a front end provides to the rest of the agent: the main loop everything lives on, dialogs
// (alerts, sheets, file panels), the alert's presenter, sound, the clipboard, showing files, and
// the end of its loop. The console front end provides it headless; the Qt one with windows. The
// composition takes one bundle and hands each piece to the controllers that need it.

#include <functional>

#include "decision/AlertPresenter.h"
#include "platform/Dialogs.h"
#include "platform/Pasteboard.h"
#include "platform/SoundPlayer.h"
#include "platform/Workspace.h"
#include "runtime/Controls.h"
#include "runtime/MainLoop.h"

namespace halvex {

struct FrontEnd {
  MainLoop& mainLoop;
  Dialogs& dialogs;
  AlertPresenter& alertPresenter;
  SoundPlayer& soundPlayer;
  Pasteboard& pasteboard;
  Workspace& workspace;
  // Ends the front end's loop with an exit code; the program ends after it.
  std::function<void(int)> quit;
  // The desktop asks for a dark look (always false headless).
  std::function<bool()> prefersDark = [] { return false; };
  // The screen alerts are centred on (a fixed one headless).
  std::function<Rect()> screenFrame = [] { return Rect{0, 0, 1280, 800}; };
};

}  // namespace halvex
