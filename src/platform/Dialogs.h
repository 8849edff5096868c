#pragma once
// Modal alerts and sheets. A controller describes the alert; the front end shows it (or a test
// answers it from a script) and reports the button, numbered from 1000 in the order given, and
// the state of the suppression box.

#include <functional>
#include <string>
#include <vector>

namespace halvex {

struct AlertDescription {
  std::string messageText;
  std::string informativeText;
  std::vector<std::string> buttons;  // the first is the default; none means one "OK"
  std::string icon;                  // a named image, e.g. "NSCaution"; empty for the app's icon
  bool showsSuppressionButton = false;
};

struct AlertResponse {
  int button = 1000;
  bool suppressed = false;
};

class Dialogs {
 public:
  using Completion = std::function<void(AlertResponse)>;
  virtual ~Dialogs() = default;
  // Blocks until answered.
  virtual AlertResponse runModal(const AlertDescription& alert) = 0;
  // Attached to a window; answered later, on the main loop.
  virtual void beginSheet(const std::string& window, const AlertDescription& alert, Completion completion) = 0;
};

}  // namespace halvex
