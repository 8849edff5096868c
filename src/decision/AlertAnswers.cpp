#include "decision/AlertAnswers.h"

#include <algorithm>

#include "decision/HXNotifyWindowController.h"

namespace halvex {

bool AlertAnswers::answer(const std::string& tag, const AlertAnswer& answer) {
  const auto it = std::ranges::find(open_, tag, &decltype(open_)::value_type::first);
  if (it == open_.end()) return false;
  // Held here: the controller takes itself out of every list while it answers.
  const auto request = it->second;
  return request->answer(answer);
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
