#pragma once
// The facts an alert fetches off the main loop while it opens: the icons, the host and service
// names, the location of the address, the user's picture and, on request, the signature. Each
// look-up hands back a change of the window; the request's controller applies it on the main loop
// while its alert is open and drops it otherwise, so a late fact never reaches a closed alert.
// This base finds nothing: the alert keeps the facts at hand.

#include <cstdint>
#include <functional>
#include <string>

#include "decision/AlertWindow.h"
#include "link/RequestLine.h"

namespace halvex {

class AlertFacts {
 public:
  using Change = std::function<void(AlertWindow&)>;
  // Callable from any thread, any number of times.
  using Deliver = std::function<void(Change)>;

  virtual ~AlertFacts() = default;
  // The icon of the process, and of the app it speaks for when `viaPath` is not empty.
  virtual void processIcon(const std::string& /*path*/, const std::string& /*viaPath*/, const Deliver&) {}
  // The host name of the address, then the service name of the port.
  virtual void hostAndService(const Request&, const Deliver&) {}
  // Where an IPv4 address lies.
  virtual void country(const std::string& /*address*/, const Deliver&) {}
  // The picture and name of the user with a uid of 0 or more.
  virtual void userPicture(std::int32_t /*uid*/, const Deliver&) {}
  // Who signed the program: the lamps and their texts.
  virtual void signature(const std::string& /*path*/, const Deliver&) {}
};

}  // namespace halvex
