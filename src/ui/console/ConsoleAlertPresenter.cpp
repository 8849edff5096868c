#include "ui/console/ConsoleAlertPresenter.h"

#include "decision/HXNotifyWindowController.h"
#include "ui/console/AlertLine.h"
#include "ui/console/ConsoleCommands.h"

namespace halvex {

void ConsoleAlertPresenter::show(const std::shared_ptr<HXNotifyWindowController>& alert) {
  const std::string& tag = alert->parameters.tagNotify;
  const auto& window = alert->window;
  // Who asks, in full: the sentence names the program by its short name only.
  line("[alert " + tag + "] " + printableText(window.processPath.text) + " (pid " + window.processID.text + ")" +
       printableText(window.viaString));
  const std::string text = printableText(window.descriptionString.text);
  shownText_[tag] = text;
  line("[alert " + tag + "] " + text);
  if (prompting_) {
    const auto left = static_cast<long long>(alert->window.timeoutProgress.value);
    line("[alert " + tag + "] " + std::to_string(left) + " s left; answer: " + kAlertUsage);
  }
  opened(tag);
}

void ConsoleAlertPresenter::redraw(const HXNotifyWindowController& alert) {
  const std::string& tag = alert.parameters.tagNotify;
  const std::string text = printableText(alert.window.descriptionString.text);
  auto& shown = shownText_[tag];
  if (shown == text) return;
  shown = text;
  line("[alert " + tag + "] " + text);
}

void ConsoleAlertPresenter::close(const HXNotifyWindowController& alert, AlertEnding how,
                                  const std::string& replySuffix) {
  const std::string& tag = alert.parameters.tagNotify;
  shownText_.erase(tag);
  line("[alert " + tag + "] " + endingName(how) + replySuffix);
}

void ConsoleAlertPresenter::line(const std::string& text) const {
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
  logger_.log(text);
}

}  // namespace halvex
