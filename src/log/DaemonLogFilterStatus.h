#pragma once
// The log's filter on Linux is the daemon (or, in tests and demos, the stand-in daemon): it
// runs when pgrep finds one of those processes. Asked through the quiet script runner, whose
// "ERROR" (pgrep found nothing, or could not run) means no.

#include <string>

#include "commands/CommandRunner.h"
#include "platform/LogFilterStatus.h"

namespace halvex {

class DaemonLogFilterStatus final : public LogFilterStatus {
 public:
  explicit DaemonLogFilterStatus(const CommandRunner& runner) : runner_(runner) {}
  bool isRunning() const override;

  // The daemon by its program name; the stand-in by its command line, the bracket keeping the
  // shell that runs pgrep from matching its own command.
  static constexpr const char* kCommand = "/usr/bin/pgrep -x halvexafd || /usr/bin/pgrep -f 'halvex-standin-daemo[n]'";

 private:
  const CommandRunner& runner_;
};

}  // namespace halvex
