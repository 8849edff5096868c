#pragma once
// Where a request goes when no rule settles it: the alert that asks the user. Called on the main
// loop with `notificationOnScreen` already set; the synchronised queue stays held until the
// alert's answer finishes the request.

#include <memory>

namespace halvex {

class HXNotifyWindowController;

class AlertPresenter {
 public:
  virtual ~AlertPresenter() = default;
  virtual void mostra(std::shared_ptr<HXNotifyWindowController> request) = 0;
};

}  // namespace halvex
