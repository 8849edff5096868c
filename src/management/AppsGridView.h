#pragma once
// What the main window's grid of managed apps shows: one item per arranged app, in order, and
// the selection. The controller rebuilds it after every change of the library and raises its
// change signal; the front end draws from it and nothing else.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Controls.h"
#include "runtime/Graphics.h"

namespace halvex {

struct AppItemView {
  std::string appName;       // the key name, e.g. "Foo.app" or "tool"
  std::string title;         // the centred display name under the icon
  std::string imageName;     // the icon, "unknownapp" for a missing file
  Color labelColor;          // the state's colour
  std::int64_t state = 0;    // appIsBlockedOrAllowed
  bool yellow = false;       // asks the user
  bool greenShadow = false;  // blocked, with exceptions that pass
  bool redShadow = false;    // passed, with exceptions that block
  bool quiet = false;        // quiet time runs (pass or block)
  bool timed = false;        // a timed rule runs
  bool counterVisible = false;
  std::int64_t hits = 0;
  bool selected = false;
};

// The lamps of the main window's toolbar: alerts and logging, on or off.
struct ToolbarLeds {
  TextLabel notificationsLabel;
  Image notificationsImage;
  TextLabel loggingLabel;
  Image loggingImage;
  TextLabel titleLogs;
};

struct AppsGridView {
  std::vector<AppItemView> items;
  std::optional<std::size_t> selectionIndex;
  // True while the filter hides system binaries.
  bool hidesSystemBinaries = false;
  // How many apps the library holds, shown or hidden.
  std::size_t libraryCount = 0;
  // The main window was brought forward to carry a sheet.
  bool mainWindowVisible = false;
  ToolbarLeds toolbarLeds;
};

}  // namespace halvex
