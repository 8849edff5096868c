#pragma once
// The headless face of the alert: one line when an alert opens and one when it closes, on the
// console (flushed at once, so a script reading the output sees it), and one in the log.

#include <cstdio>

#include "decision/AlertPresenter.h"
#include "runtime/LineLogger.h"

namespace halvex {

class ConsoleAlertPresenter final : public AlertPresenter {
 public:
  explicit ConsoleAlertPresenter(const LineLogger& logger, std::FILE* out = stdout) : logger_(logger), out_(out) {}
  // "[alert TAG] PATH wants to connect to ADDRESS port PORT (PROTOCOL), user UID"
  void mostra(const Alert& alert) override;
  // "[alert TAG] answered SUFFIX"
  void close(const Alert& alert, const std::string& how, const std::string& replySuffix) override;

 private:
  void line(const std::string& text) const;

  const LineLogger& logger_;
  std::FILE* out_;
};

}  // namespace halvex
