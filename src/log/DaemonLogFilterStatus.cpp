#include "log/DaemonLogFilterStatus.h"

namespace halvex {

bool DaemonLogFilterStatus::isRunning() const { return runner_.quietScript(kCommand) != kScriptError; }

}  // namespace halvex
