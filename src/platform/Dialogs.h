#pragma once
// Modal alerts, sheets and file panels. A controller describes the alert; the front end shows it
// (or a test answers it from a script) and reports the button, numbered from 1000 in the order
// given, and the state of the suppression box. A file panel answers a path, or nothing on Cancel.

#include <functional>
#include <optional>
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

// A file panel: its title, and whether it saves (else it opens one plain file).
struct FilePanelRequest {
  std::string title;
  bool save = false;
};

class Dialogs {
 public:
  using Completion = std::function<void(AlertResponse)>;
  virtual ~Dialogs() = default;
  // Blocks until answered.
  virtual AlertResponse runModal(const AlertDescription& alert) = 0;
  // Attached to a window; answered later, on the main loop.
  virtual void beginSheet(const std::string& window, const AlertDescription& alert, Completion completion) = 0;
  // Blocks until a file is chosen or the panel is cancelled.
  virtual std::optional<std::string> runFilePanel(const FilePanelRequest& panel) = 0;
};

}  // namespace halvex
