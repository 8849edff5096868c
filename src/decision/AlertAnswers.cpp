#include "decision/AlertAnswers.h"

#include <algorithm>
#include <optional>

#include "decision/HXNotifyWindowController.h"

namespace halvex {
namespace {

// The offered IPv4 network that `text` names, by its text or by its prefix; -1 for none.
std::int64_t offeredNetwork(const AlertWindow& window, const std::string& text) {
  const auto& items = window.matrixlabel3.items;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto slash = items[i].rfind('/');
    if (items[i] == text || (slash != std::string::npos && items[i].substr(slash) == text))
      return static_cast<std::int64_t>(i);
  }
  return -1;
}

AnswerOutcome refused(std::string error) { return AnswerOutcome{false, std::move(error)}; }

bool withinSlider(const Slider& slider, std::int64_t value) {
  return static_cast<double>(value) >= slider.minValue && static_cast<double>(value) <= slider.maxValue;
}

std::string sliderRange(const Slider& slider) {
  return std::to_string(static_cast<std::int64_t>(slider.minValue)) + " to " +
         std::to_string(static_cast<std::int64_t>(slider.maxValue));
}

// A number the window's slider could not hold is refused before any control moves, so that the
// refused answer changes nothing.
std::optional<std::string> outsideTheSliders(const AlertWindow& window, const AlertAnswer& answer) {
  if (answer.scope == AlertScope::app && answer.duration == AppDuration::minutes &&
      !withinSlider(window.timeSlider, answer.minutes))
    return "the app's minutes are " + sliderRange(window.timeSlider);
  if (answer.scope == AlertScope::address && answer.quiet && answer.quietSeconds != 0 &&
      !withinSlider(window.quietSlider, answer.quietSeconds))
    return "the quiet time is " + sliderRange(window.quietSlider) + " seconds";
  return std::nullopt;
}

}  // namespace

AnswerOutcome AlertAnswers::answer(const std::string& tag, const AlertAnswer& answer) {
  // Held here: the controller takes itself out of every list while it answers.
  const auto alert = find(tag);
  if (!alert) return refused("no alert is open under " + tag);
  auto& window = alert->window;
  if (auto error = outsideTheSliders(window, answer)) return refused(std::move(*error));
  if (answer.scope) {
    switch (*answer.scope) {
      case AlertScope::app:
        if (answer.duration == AppDuration::forever) alert->clickPopupButton(kTimeForever);
        if (answer.duration == AppDuration::untilLogout) alert->clickPopupButton(kTimeNextLogin);
        if (answer.duration == AppDuration::minutes) {
          alert->updateWithSlider(static_cast<double>(answer.minutes));
          alert->clickPopupButton(kTimeMenuItem);
        }
        alert->selectActionMatrix(kRowApp);
        break;
      case AlertScope::port: alert->selectActionMatrix(kRowPort); break;
      case AlertScope::address:
        alert->selectActionMatrix(kRowAddress);
        if (answer.quiet) {
          if (answer.quietSeconds != 0) alert->updateQuietSlider(static_cast<double>(answer.quietSeconds));
          alert->showHideQuietSlider(true);
        }
        break;
      case AlertScope::network:
        if (!window.matrixlabel3.hidden) {
          const auto index = offeredNetwork(window, answer.network);
          if (index < 0)
            return refused("not one of the offered networks: " + window.matrixlabel3.items.front() + ", " +
                           window.matrixlabel3.items[1] + ", " + window.matrixlabel3.items[2]);
          alert->selectMatrixLabel3(index);
        } else {
          alert->setSubnetV6(answer.network);
          if (window.actionMatrix.selectedRow != kRowNetwork)
            return refused(window.addSubnetError.text.empty() ? "a network is needed" : window.addSubnetError.text);
        }
        break;
    }
  }
  alert->userAction(answer.pass ? window.advancedPass : window.advancedBlock);
  return AnswerOutcome{!alert->alertIsOpen(), {}};
}

std::shared_ptr<HXNotifyWindowController> AlertAnswers::find(const std::string& tag) const {
  const auto it = std::ranges::find(open_, tag, &decltype(open_)::value_type::first);
  return it == open_.end() ? nullptr : it->second;
}

std::vector<std::string> AlertAnswers::openAlerts() const {
  std::vector<std::string> tags;
  for (const auto& entry : open_) tags.push_back(entry.first);
  return tags;
}

void AlertAnswers::opened(std::shared_ptr<HXNotifyWindowController> request, const std::string& tag) {
  open_.emplace_back(tag, std::move(request));
}

void AlertAnswers::closed(const std::string& tag) {
  std::erase_if(open_, [&](const auto& entry) { return entry.first == tag; });
}

}  // namespace halvex
