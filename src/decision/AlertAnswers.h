#pragma once
// The one entry point through which an answer reaches an open alert. The console, the windows and
// the tests all call it, on the main loop.

#include <string>
#include <vector>

#include "configuration/Globals.h"
#include "decision/AlertAnswer.h"

namespace halvex {

class AlertAnswers {
 public:
  explicit AlertAnswers(Globals& globals) : globals_(globals) {}

  // Decides the request whose alert is open under `tag`. False, and nothing changes, when no
  // alert is open under that tag (already decided, or never shown).
  bool answer(const std::string& tag, const AlertAnswer& answer);
  // The tags of the alerts on screen.
  std::vector<std::string> openAlerts() const;

 private:
  Globals& globals_;
};

}  // namespace halvex
