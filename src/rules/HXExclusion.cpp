#include "rules/HXExclusion.h"

#include "platform/FileIcons.h"

namespace halvex {

HXExclusion::HXExclusion(const RulesContext& context, std::string path_, std::int64_t rule_, bool ignored_,
                         bool hardcoded_)
    : path(std::move(path_)), rule(rule_), ignored(ignored_), hardcoded(hardcoded_) {
  setRuleIcon();
  if (hardcoded) labelColor = Color::grayColor();
  if (path == "/") {
    icon = Image::named("NSComputer");
  } else {
    icon = Image::named(context.fileIcons.iconNameForFile(path));
  }
}

void HXExclusion::setRuleIcon() {
  if (rule == 0) {
    ruleImage = Image::named("passedup");
    buttonImage = Image::named("NSLockUnlockedTemplate");
    labelColor = Color::controlTextColor();
  } else {
    ruleImage = Image::named("blockedup");
    buttonImage = Image::named("NSLockLockedTemplate");
    labelColor = Color::redColor();
  }
}

}  // namespace halvex
