#pragma once
// A person's answer to an alert, as a front end without controls hands it over: pass or block,
// and optionally what the answer holds for (the rows of the alert's scope: the app, the port, the
// address, a network) and for how long. What is left out stays as the alert opened.

#include <cstdint>
#include <optional>
#include <string>

namespace halvex {

enum class AlertScope { app = 0, port = 1, address = 2, network = 3 };

// How long an answer about the whole app holds.
enum class AppDuration { forever, untilLogout, minutes };

struct AlertAnswer {
  bool pass = true;
  std::optional<AlertScope> scope;
  std::optional<AppDuration> duration;
  // For AppDuration::minutes.
  std::int64_t minutes = 0;
  // For an address: quiet time for the app after the answer, for `quietSeconds` (the quiet
  // slider's whole seconds), or with 0 for the stored quiet time.
  bool quiet = false;
  std::int64_t quietSeconds = 0;
  // For AlertScope::network: the network in CIDR text; for IPv4 also "/8", "/16" or "/24".
  std::string network;
};

}  // namespace halvex
