#include "ui/console/ConsoleDialogs.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "ui/console/ConsoleCommands.h"

namespace halvex {
namespace {

std::string lower(std::string_view text) {
  std::string out(text);
  std::ranges::transform(out, out.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

// The button a typed answer names, by number from 1 or by title; nothing for any other text.
std::optional<std::size_t> chosenButton(std::string_view typed, const std::vector<std::string>& buttons) {
  typed = trimmed(typed);
  std::size_t number = 0;
  const auto [end, ec] = std::from_chars(typed.data(), typed.data() + typed.size(), number);
  if (ec == std::errc() && end == typed.data() + typed.size() && number >= 1 && number <= buttons.size())
    return number - 1;
  for (std::size_t i = 0; i < buttons.size(); ++i)
    if (lower(buttons[i]) == lower(typed)) return i;
  return std::nullopt;
}

}  // namespace

ConsoleDialogs::ConsoleDialogs(MainLoop& loop, const LineLogger& logger, ConsoleInput& input, std::FILE* out)
    : loop_(loop), logger_(logger), input_(input), out_(out) {}

void ConsoleDialogs::scriptAnswer(AlertResponse response) {
  std::lock_guard lock(mutex_);
  script_.push_back(response);
}

void ConsoleDialogs::line(const std::string& text) {
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
}

AlertResponse ConsoleDialogs::answer(const AlertDescription& alert) {
  const std::vector<std::string> buttons = alert.buttons.empty() ? std::vector<std::string>{"OK"} : alert.buttons;
  std::optional<AlertResponse> scripted;
  {
    std::lock_guard lock(mutex_);
    if (!script_.empty()) {
      scripted = script_.front();
      script_.pop_front();
    }
  }
  line("[" + alert.messageText + "] " + alert.informativeText);
  std::size_t chosen = 0;
  std::string how;
  if (scripted) {
    chosen = static_cast<std::size_t>(std::max(0, scripted->button - 1000));
  } else if (buttons.size() > 1 && input_.hasSource()) {
    std::string menu;
    for (std::size_t i = 0; i < buttons.size(); ++i) menu += "  " + std::to_string(i + 1) + ") " + buttons[i];
    line("  answer with a button's number or title:" + menu);
    for (;;) {
      const auto typed = input_.takeLine();
      if (!typed) {
        how = " (no more answers: the first button)";
        break;
      }
      if (const auto index = chosenButton(*typed, buttons)) {
        chosen = *index;
        break;
      }
      line("  '" + printableText(typed->substr(0, 64)) + "' names no button:" + menu);
    }
  } else if (buttons.size() > 1) {
    how = " (no source of answers: the first button)";
  }
  const std::string button = chosen < buttons.size() ? buttons[chosen] : "?";
  line("  -> " + button + how);
  logger_.log("alert \"" + alert.messageText + "\": " + alert.informativeText + " -> " + button + how);
  return AlertResponse{1000 + static_cast<int>(chosen), scripted ? scripted->suppressed : false};
}

AlertResponse ConsoleDialogs::runModal(const AlertDescription& alert) { return answer(alert); }

void ConsoleDialogs::beginSheet(const std::string&, const AlertDescription& alert, Completion completion) {
  const AlertResponse response = answer(alert);
  loop_.post([completion = std::move(completion), response] { completion(response); });
}

std::optional<std::string> ConsoleDialogs::runFilePanel(const FilePanelRequest& panel) {
  line("[" + panel.title + "] no file panel on the console: cancelled");
  return std::nullopt;
}

}  // namespace halvex
