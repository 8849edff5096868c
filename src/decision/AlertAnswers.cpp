#include "decision/AlertAnswers.h"

#include "decision/HXNotifyWindowController.h"

namespace halvex {

bool AlertAnswers::answer(const std::string& tag, const AlertAnswer& answer) {
  const auto it = globals_.notifyControllers.find(tag);
  if (it == globals_.notifyControllers.end()) return false;
  // Keeps the controller alive while it takes itself out of notifyControllers.
  const auto controller = it->second;
  return controller->answer(answer);
}

std::vector<std::string> AlertAnswers::openAlerts() const {
  std::vector<std::string> tags;
  for (const auto& [tag, controller] : globals_.notifyControllers)
    if (controller->alertIsOpen()) tags.push_back(tag);
  return tags;
}

}  // namespace halvex
