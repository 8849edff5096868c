#pragma once
// What a request's controller works with: the program-wide state, the channel for replies and
// process look-ups, what new apps are made with, the alert's window side and the front end's
// services, and ending the process on programming errors. Made once by the composition; every
// HXNotifyWindowController holds a reference.

#include <functional>

#include "commands/CommandRunner.h"
#include "configuration/Globals.h"
#include "configuration/UserDefaults.h"
#include "platform/Dialogs.h"
#include "platform/Pasteboard.h"
#include "platform/ProcessControl.h"
#include "platform/ProcessOwners.h"
#include "platform/SoundPlayer.h"
#include "platform/Workspace.h"
#include "runtime/Controls.h"
#include "runtime/LineLogger.h"

namespace halvex {

class managesocketagent;
class AlertPresenter;
class AlertAnswers;
class AlertFacts;
struct RulesContext;

struct DecisionContext {
  Globals& globals;
  managesocketagent& mymanagesocketagent;
  ProcessControl& process;
  const RulesContext& rulesContext;
  AlertPresenter& alertPresenter;
  // Where an open alert is found by its answer.
  AlertAnswers& alertAnswers;
  // With the debug flag set, the intake prints what it derived of each request.
  const LineLogger& logger;
  // The alert's helpers: its fact look-ups, the user's names, sound, sheets, the clipboard, the
  // file manager, the commands of the process menu, and the defaults its switches are kept in.
  AlertFacts& alertFacts;
  const ProcessOwners& processOwners;
  SoundPlayer& soundPlayer;
  Dialogs& dialogs;
  Pasteboard& pasteboard;
  Workspace& workspace;
  const CommandRunner& commandRunner;
  UserDefaults& userDefaults;
  // The desktop asks for a dark look; the screen alerts are centred on.
  std::function<bool()> prefersDark;
  std::function<Rect()> screenFrame;
};

}  // namespace halvex
