#pragma once
// The window's side of an alert: it shows the alert's view state, redraws it when it changes and
// closes it when the request has been decided. The steps of the alert, and the decision, stay in
// the request's controller; a front end calls the controller's actions as the window's controls
// would.

#include <memory>
#include <string>

namespace halvex {

class HXNotifyWindowController;

// How an alert ended.
enum class AlertEnding { answered, expired, silenced };
inline const char* endingName(AlertEnding ending) {
  switch (ending) {
    case AlertEnding::answered: return "answered";
    case AlertEnding::expired: return "expired";
    case AlertEnding::silenced: return "silenced";
  }
  return "";
}

class AlertPresenter {
 public:
  virtual ~AlertPresenter() = default;
  // On the main loop, once the alert's window is filled, with `notificationOnScreen` set; the
  // synchronised queue stays held until the alert ends.
  virtual void show(const std::shared_ptr<HXNotifyWindowController>& alert) = 0;
  // On the main loop, after every change of a shown alert's window.
  virtual void redraw(const HXNotifyWindowController& alert) = 0;
  // On the main loop, after the reply has gone and the queue runs on. The reply's suffix is what
  // was appended to the request's line.
  virtual void close(const HXNotifyWindowController& alert, AlertEnding how, const std::string& replySuffix) = 0;
};

}  // namespace halvex
