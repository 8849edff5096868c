#pragma once
// A person's answer to an alert, as every front end hands it over: pass or block, and what the
// answer holds for (the rows of the alert's scope: the app, the port, the address, a network).

#include <cstdint>
#include <string>

namespace halvex {

enum class AlertScope { app = 0, port = 1, address = 2, network = 3 };

// How long an answer about the whole app holds.
enum class AppDuration { forever, untilLogout, minutes };

struct AlertAnswer {
  bool pass = true;
  AlertScope scope = AlertScope::app;
  AppDuration duration = AppDuration::forever;
  // For AppDuration::minutes.
  std::int64_t minutes = 0;
  // For an address: quiet time for the app after the answer.
  bool quiet = false;
  // For AlertScope::network: the network in CIDR text.
  std::string network;
};

}  // namespace halvex
