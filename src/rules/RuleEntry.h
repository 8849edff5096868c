#pragma once
// The rule-entry grammar, in one place: "@" (pass) or "#" (block), optionally "_range", then an
// address, a network, a port or "low:high". Every reader of `appMatches` classifies through
// classifyRuleEntry, and the rows of an app's rule view come from recordsForMatches.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rules/RulesContext.h"
#include "runtime/Graphics.h"

namespace halvex {

class HXRecord;

enum class RuleEntryKind { skip, address, subnet, port, range };

struct RuleEntry {
  RuleEntryKind kind = RuleEntryKind::skip;
  char prefix = '\0';   // '@' or '#'; '\0' for a skipped entry
  std::string rowText;  // what the row is made from: the entry, less "_range" for a range
  std::string value;    // rowText without any "@" or "#": address, network, port or "low:high"

  std::int64_t rule() const { return prefix == '@' ? 0 : 1; }
  bool operator==(const RuleEntry&) const = default;
};

// 1. Neither "@" nor "#" first: skipped. 2. The prefix then "_range": a range. 3. A "/" anywhere:
// a subnet. 4. The rest after the prefix, read whole as a base-10 integer, in 1 to 65535: a
// port. 5. Anything else is an address ("0", "70000", "-5" and host names included).
RuleEntry classifyRuleEntry(std::string_view entry);

// The whole rest read as an optionally signed base-10 integer; empty when it is not one.
std::optional<std::int64_t> parseBase10(std::string_view text);

// "address", "subnet", "port", "range"; "" for a skipped entry.
std::string_view recordTypeName(RuleEntryKind kind);
// "icon_ip", "icon_subnet", "icon_port", "icon_portrange"; no image for a skipped entry.
Image recordImageForKind(RuleEntryKind kind);

// The rows of an app's rule view: "#" addresses, "@" addresses, "#" subnets, "@" subnets, "#"
// ports, "@" ports, "#" ranges, "@" ranges, each group in entry order; then the derived
// "Everyone" row by state (0 pass, 1 block, 2 pass, 3 block; none for 4 or any other value).
std::vector<std::shared_ptr<HXRecord>> recordsForMatches(const RulesContext& context,
                                                         const std::vector<std::string>& appMatches,
                                                         std::int64_t appIsBlockedOrAllowed);

// The entry a row stands for: prefix, "_range" for a range, then the address.
std::string entryFromRecord(const HXRecord& record);

}  // namespace halvex
