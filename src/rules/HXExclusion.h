#pragma once
// One managed folder rule: a folder or file path ("/" for the whole computer) that passes or
// blocks whatever runs from it.

#include <cstdint>
#include <string>

#include "rules/RulesContext.h"
#include "runtime/Graphics.h"

namespace halvex {

class HXExclusion {
 public:
  // The defaults, then the given facts, the rule's images and colour (gray for a built-in
  // entry) and the path's icon.
  HXExclusion(const RulesContext& context, std::string path, std::int64_t rule, bool ignored, bool hardcoded);

  // Rule 0: "passedup", an open lock, the control text colour; any other rule: "blockedup", a
  // closed lock, red.
  void setRuleIcon();

  std::string path;
  std::int64_t rule = 0;
  bool ignored = false;
  bool hardcoded = false;
  Image ruleImage;
  Image ignoreImage;
  Color labelColor = Color::controlTextColor();
  Image buttonImage;
  bool isSelected = false;
  Image icon;
};

}  // namespace halvex
