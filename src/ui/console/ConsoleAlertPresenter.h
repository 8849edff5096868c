#pragma once
// The headless stand-in for the alert window: it tells the console and the log which connection
// waits for an answer. The request stays open, the synchronised queue held, until the alert's
// answer or its expiry finishes it.

#include <cstdio>

#include "decision/AlertPresenter.h"
#include "runtime/LineLogger.h"

namespace halvex {

class ConsoleAlertPresenter final : public AlertPresenter {
 public:
  ConsoleAlertPresenter(const LineLogger& logger, std::FILE* out = stdout) : logger_(logger), out_(out) {}
  void mostra(std::shared_ptr<HXNotifyWindowController> request) override;

 private:
  const LineLogger& logger_;
  std::FILE* out_;
};

}  // namespace halvex
