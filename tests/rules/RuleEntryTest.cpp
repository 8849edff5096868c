#include <gtest/gtest.h>

#include "fakes/World.h"
#include "rules/HXRecord.h"
#include "rules/RuleEntry.h"

namespace halvex {
namespace {

TEST(RuleEntryTest, ClassifiesByTheFixedOrderOfTests) {
  using enum RuleEntryKind;
  // A "/" makes a subnet before any address test; "_range" a range despite its ":". Ports are whole
  // integers from 1 to 65535; anything else after a prefix is an address.
  const std::pair<RuleEntryKind, std::vector<const char*>> kinds[] = {
      {subnet, {"#10.0.0.0/8", "@fe80::1/64"}},
      {range, {"#_range8000:9000", "@_range1:2", "@_range1/2"}},
      {port, {"@443", "@1", "@65535", "@0443"}},
      {address,
       {"@192.168.1.5", "@fe80::1", "#example.com", "#0", "@65536", "@70000", "@-5", "@", "@44x", "@4 4",
        "@99999999999999999999"}},
      {skip, {"443", "", "10.0.0.1", "_range1:2", " @443"}}};  // no prefix
  for (const auto& [kind, entries] : kinds)
    for (const char* text : entries) {
      const auto entry = classifyRuleEntry(text);
      EXPECT_EQ(entry.kind, kind) << text;
      EXPECT_TRUE(kind != skip || entry.value.empty()) << text;
    }
  // Values lose the prefix and the range word.
  const auto rangeEntry = classifyRuleEntry("#_range8000:9000");
  EXPECT_EQ(rangeEntry.rowText, "#8000:9000");
  EXPECT_EQ(rangeEntry.value, "8000:9000");
  EXPECT_EQ(rangeEntry.rule(), 1);
  const auto subnetEntry = classifyRuleEntry("@10.0.0.0/8");
  EXPECT_EQ(subnetEntry.value, "10.0.0.0/8");
  EXPECT_EQ(subnetEntry.rule(), 0);
}

TEST(RuleRowsTest, RowsComeInTheFixedOrderOfKindsAndPrefixesAndRebuildTheirEntries) {
  test::World world;
  const std::vector<std::string> matches = {"@443",       "#_range1:2", "@10.0.0.1",     "#10.0.0.0/8",
                                            "443",        "#10.0.0.2",  "@fe80::/10",    "#53",
                                            "@_range5:6", "@10.0.0.3",  "#172.16.0.0/12"};
  std::vector<std::string> described, rebuilt;
  for (const auto& row : recordsForMatches(world.context, matches, 4)) {
    described.push_back(row->recordPrefix + row->recordType + ":" + row->recordAddress);
    rebuilt.push_back(entryFromRecord(*row));
  }
  EXPECT_EQ(described, (std::vector<std::string>{"#address:10.0.0.2", "@address:10.0.0.1", "@address:10.0.0.3",
                                                 "#subnet:10.0.0.0/8", "#subnet:172.16.0.0/12", "@subnet:fe80::/10",
                                                 "#port:53", "@port:443", "#range:1:2", "@range:5:6"}));
  std::vector<std::string> expected = matches;
  std::erase(expected, "443");  // no prefix: no row
  std::ranges::sort(expected);
  std::ranges::sort(rebuilt);
  EXPECT_EQ(rebuilt, expected);
}

TEST(RuleRowsTest, EveryoneRowFollowsTheState) {
  test::World world;
  const std::pair<std::int64_t, std::optional<std::int64_t>> cases[] = {
      {0, 0}, {1, 1}, {2, 0}, {3, 1}, {4, std::nullopt}, {7, std::nullopt}};
  for (const auto& [state, everyoneRule] : cases) {
    const auto rows = recordsForMatches(world.context, {"#53"}, state);
    ASSERT_EQ(rows.size(), everyoneRule ? 2u : 1u) << "state " << state;
    if (!everyoneRule) continue;
    EXPECT_EQ(rows.back()->recordAddress, "Everyone");
    EXPECT_EQ(rows.back()->recordType, "Everyone");
    EXPECT_EQ(rows.back()->recordRule, *everyoneRule) << "state " << state;
  }
}

}  // namespace
}  // namespace halvex
