#pragma once
// The one drag in progress in the agent's views: what kind of thing is being dragged
// ("reorderapps", "reorderexclusions", "record", "addapps", "wizard", "exclusions"), and the
// pasteboard it carries. Views that start a drag write it; drop targets read it. Main loop only.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace halvex {

namespace dragkinds {
inline constexpr const char* kReorderApps = "reorderapps";
}  // namespace dragkinds

// What a drag puts on its pasteboard: the indexes of the dragged rows under the plain-string
// type, or file names.
struct DragPasteboard {
  static constexpr const char* kStringType = "public.utf8-plain-text";
  std::string type;
  std::vector<std::size_t> archivedIndexes;
};

struct DragSession {
  std::string dragKind;
};

}  // namespace halvex
