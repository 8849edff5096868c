#pragma once
// The headless face of the alert, on standard output (flushed after each line, so that a script
// reading it sees it at once) and in the log:
//
//   [alert TAG] PATH (pid PID)[ via APP]              when it opens
//   [alert TAG] SENTENCE                              when it opens and whenever SENTENCE changes
//   [alert TAG] signature: VALIDITY, signed by ...    when the signature asked for is known
//   [alert TAG] answered|expired|silenced SUFFIX      when it closes; SUFFIX as appended to the reply
//
// At a terminal the opening also prompts, with the time left.

#include <cstdio>
#include <map>
#include <string>

#include "decision/AlertPresenter.h"
#include "runtime/LineLogger.h"
#include "runtime/Signal.h"

namespace halvex {

class ConsoleAlertPresenter final : public AlertPresenter {
 public:
  explicit ConsoleAlertPresenter(const LineLogger& logger, std::FILE* out = stdout) : logger_(logger), out_(out) {}

  void show(const std::shared_ptr<HXNotifyWindowController>& alert) override;
  void redraw(const HXNotifyWindowController& alert) override;
  void close(const HXNotifyWindowController& alert, AlertEnding how, const std::string& replySuffix) override;

  // A person types at the console: openings prompt.
  void setPrompting(bool prompting) { prompting_ = prompting; }
  // Raised with the tag after an alert's opening line.
  Signal<const std::string&> opened;

 private:
  void line(const std::string& text) const;

  const LineLogger& logger_;
  std::FILE* out_;
  bool prompting_ = false;
  struct Shown {
    std::string text;
    std::string signature;
  };
  std::map<std::string, Shown> shown_;
};

}  // namespace halvex
