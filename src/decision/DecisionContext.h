#pragma once
// What a request's controller works with: the program-wide state, the channel for replies and
// process look-ups, and ending the process on programming errors. Made once by the composition
// root; every HXNotifyWindowController holds a reference.

#include "agent/Globals.h"
#include "platform/ProcessControl.h"

namespace halvex {

class managesocketagent;

struct DecisionContext {
  Globals& globals;
  managesocketagent& mymanagesocketagent;
  ProcessControl& process;
};

}  // namespace halvex
