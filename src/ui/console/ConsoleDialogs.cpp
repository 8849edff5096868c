#include "ui/console/ConsoleDialogs.h"

namespace halvex {

ConsoleDialogs::ConsoleDialogs(MainLoop& loop, const LineLogger& logger, std::FILE* out)
    : loop_(loop), logger_(logger), out_(out) {}

void ConsoleDialogs::scriptAnswer(AlertResponse response) {
  std::lock_guard lock(mutex_);
  script_.push_back(response);
}

AlertResponse ConsoleDialogs::answer(const AlertDescription& alert) {
  AlertResponse response;
  {
    std::lock_guard lock(mutex_);
    if (!script_.empty()) {
      response = script_.front();
      script_.pop_front();
    }
  }
  const auto index = static_cast<std::size_t>(response.button - 1000);
  const std::string button = alert.buttons.empty() ? "OK" : (index < alert.buttons.size() ? alert.buttons[index] : "?");
  std::fprintf(out_, "[%s] %s\n  -> %s\n", alert.messageText.c_str(), alert.informativeText.c_str(), button.c_str());
  std::fflush(out_);
  logger_.log("alert \"" + alert.messageText + "\": " + alert.informativeText + " -> " + button);
  return response;
}

AlertResponse ConsoleDialogs::runModal(const AlertDescription& alert) { return answer(alert); }

void ConsoleDialogs::beginSheet(const std::string&, const AlertDescription& alert, Completion completion) {
  const AlertResponse response = answer(alert);
  loop_.post([completion = std::move(completion), response] { completion(response); });
}

std::optional<std::string> ConsoleDialogs::runFilePanel(const FilePanelRequest& panel) {
  std::fprintf(out_, "[%s] no file panel on the console: cancelled\n", panel.title.c_str());
  std::fflush(out_);
  return std::nullopt;
}

}  // namespace halvex
