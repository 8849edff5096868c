#pragma once
// The facts an alert fetches off the main loop while it opens: the process icon, the host and
// service names, the country, the user's picture and the services of the firewall's options. Each
// look-up hands back a change of the window; the request's controller applies it on the main loop
// while its alert is open and drops it otherwise, so a late fact never reaches a closed alert.
// This base finds nothing: the alert opens with the facts at hand.

#include <functional>

#include "decision/AlertWindow.h"
#include "link/RequestLine.h"

namespace halvex {

class AlertFacts {
 public:
  using Change = std::function<void(AlertWindow&)>;
  // Callable from any thread, any number of times.
  using Deliver = std::function<void(Change)>;

  virtual ~AlertFacts() = default;
  virtual void processIcon(const Request&, const Deliver&) {}
  virtual void hostAndService(const Request&, const Deliver&) {}
  virtual void country(const Request&, const Deliver&) {}
  virtual void userImage(const Request&, const Deliver&) {}
};

}  // namespace halvex
