#include "rules/HXManagedRecords.h"

namespace halvex {

HXManagedRecords::HXManagedRecords(std::string record_, std::int64_t type_, std::int64_t rule_)
    : record(std::move(record_)), type(type_), rule(rule_) {
  setRuleIcon();
  icon = iconForType(type);
}

void HXManagedRecords::setRuleIcon() {
  if (rule == 0) {
    image = Image::named("passedup");
    labelColor = Color::controlTextColor();
  } else if (rule == 1) {
    image = Image::named("blockedup");
    labelColor = Color::redColor();
  }
}

Image HXManagedRecords::iconForType(std::int64_t type) {
  switch (type) {
    case ipv4Subnet:
    case ipv6Subnet: return Image::named("icon_subnet");
    case port: return Image::named("icon_port");
    case portRange: return Image::named("icon_portrange");
    default: return Image::named("icon_ip");
  }
}

}  // namespace halvex
