// Any text as a rule entry: classification never fails, and a row made from it rebuilds an
// entry that classifies the same way (when nothing but the prefix is a prefix character).
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fakes/World.h"
#include "rules/HXRecord.h"
#include "rules/RuleEntry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string entry(reinterpret_cast<const char*>(data), size);
  const auto classified = halvex::classifyRuleEntry(entry);
  static auto* world = new halvex::test::World;
  const halvex::RulesContext& context = world->context;
  const auto rows = halvex::recordsForMatches(context, {entry, "@443"}, 2);
  const std::size_t expectedRows = (classified.kind == halvex::RuleEntryKind::skip ? 0 : 1) + 2;
  if (rows.size() != expectedRows) __builtin_trap();
  // Rows drop every "@" and "#", so only entries without them after the prefix rebuild alike.
  if (classified.kind != halvex::RuleEntryKind::skip &&
      classified.rowText.find_first_of("@#", 1) == std::string::npos &&
      classified.value.find("_range") == std::string::npos) {
    for (const auto& row : rows) {
      // The entry's own row: "@443" beside "#_range443" also shows the address "443".
      if (row->recordType != halvex::recordTypeName(classified.kind) || row->recordAddress != classified.value)
        continue;
      const auto again = halvex::classifyRuleEntry(halvex::entryFromRecord(*row));
      if (again.kind != classified.kind || again.value != classified.value) __builtin_trap();
    }
  }
  return 0;
}
