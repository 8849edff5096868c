#pragma once
// What a request's controller works with: the program-wide state, the channel for replies and
// process look-ups, what new apps are made with, the alert's presenter, and ending the process on
// programming errors. Made once by the composition; every HXNotifyWindowController holds a
// reference.

#include "configuration/Globals.h"
#include "platform/ProcessControl.h"
#include "runtime/LineLogger.h"

namespace halvex {

class managesocketagent;
class AlertPresenter;
class AlertAnswers;
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
};

}  // namespace halvex
