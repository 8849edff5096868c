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
  shown_[tag] = {text, {}};
  line("[alert " + tag + "] " + text);
  if (prompting_) {
    const auto left = static_cast<long long>(alert->window.timeoutProgress.value);
    line("[alert " + tag + "] " + std::to_string(left) + " s left; answer: " + kAlertUsage);
  }
  opened(tag);
}

void ConsoleAlertPresenter::redraw(const HXNotifyWindowController& alert) {
  const std::string& tag = alert.parameters.tagNotify;
  const auto& window = alert.window;
  // The signature, once asked for, stands before the sentence, which stays the last line.
  const std::string signature =
      window.processSignatureValidity.text.empty()
          ? std::string()
          : printableText(window.processSignatureValidity.text + (window.processSignatureAuthor.text.empty()
                                                                      ? ""
                                                                      : ", " + window.processSignatureAuthor.text));
  const std::string text = printableText(window.descriptionString.text);
  auto& shown = shown_[tag];
  if (shown.signature != signature) line("[alert " + tag + "] signature: " + signature);
  if (shown.signature == signature && shown.text == text) return;
  shown = {text, signature};
  line("[alert " + tag + "] " + text);
}

void ConsoleAlertPresenter::close(const HXNotifyWindowController& alert, AlertEnding how,
                                  const std::string& replySuffix) {
  const std::string& tag = alert.parameters.tagNotify;
  shown_.erase(tag);
  line("[alert " + tag + "] " + endingName(how) + replySuffix);
}

void ConsoleAlertPresenter::line(const std::string& text) const {
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
  logger_.log(text);
}

}  // namespace halvex
