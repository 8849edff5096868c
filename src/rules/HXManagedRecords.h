#pragma once
// One global rule, evaluated for every app: a value without prefix, its kind and pass or block.

#include <cstdint>
#include <string>

#include "runtime/Graphics.h"

namespace halvex {

class HXManagedRecords {
 public:
  // Kinds of `type`. `unclassified` marks input that could not be classified while adding; it
  // is never stored.
  static constexpr std::int64_t address = 0;
  static constexpr std::int64_t ipv4Subnet = 1;
  static constexpr std::int64_t port = 2;
  static constexpr std::int64_t portRange = 3;
  static constexpr std::int64_t ipv6Subnet = 16;
  static constexpr std::int64_t unclassified = 99;

  HXManagedRecords() = default;
  // Sets the rule's image and colour and the kind's icon.
  HXManagedRecords(std::string record, std::int64_t type, std::int64_t rule);

  // Rule 0: "passedup" and the control text colour; rule 1: "blockedup" and red; any other
  // value changes nothing.
  void setRuleIcon();
  // "icon_subnet" for both subnet kinds, "icon_port", "icon_portrange", else "icon_ip".
  static Image iconForType(std::int64_t type);

  std::string record;
  std::int64_t type = 0;
  std::int64_t rule = 0;
  Image image;
  Image icon;
  Color labelColor;
};

}  // namespace halvex
