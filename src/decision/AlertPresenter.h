#pragma once
// The front end's side of an alert: it shows what a request asks and closes when the request has
// been decided. The decision itself stays in the request's controller; a front end answers
// through AlertAnswers.

#include <string>

#include "link/RequestLine.h"

namespace halvex {

// What a front end shows of one open request.
struct Alert {
  Request request;
  const std::string& tag() const { return request.tagNotify; }
};

class AlertPresenter {
 public:
  virtual ~AlertPresenter() = default;
  // On the main loop, with `notificationOnScreen` set; the synchronised queue stays held until
  // the alert is answered.
  virtual void mostra(const Alert& alert) = 0;
  // On the main loop, once the request has been answered and the queue runs on. `how` is
  // "answered", and the reply's suffix what was appended to the line.
  virtual void close(const Alert& alert, const std::string& how, const std::string& replySuffix) = 0;
};

}  // namespace halvex
