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
  const std::pair<const char*, RuleEntryKind> kinds[] = {{"@192.168.1.5", address},
                                                         {"#10.0.0.0/8", subnet},
                                                         {"@443", port},
                                                         {"#_range8000:9000", range},
                                                         {"@fe80::1/64", subnet},
                                                         {"@_range1:2", range},
                                                         {"@_range1/2", range},
                                                         {"@fe80::1", address},
                                                         {"#example.com", address},
                                                         {"@1", port},
                                                         {"@65535", port},
                                                         {"@0443", port},
                                                         {"#0", address},
                                                         {"@65536", address},
                                                         {"@70000", address},
                                                         {"@-5", address},
                                                         {"@", address},
                                                         {"@44x", address},
                                                         {"@4 4", address},
                                                         {"@99999999999999999999", address}};
  for (const auto& [entry, kind] : kinds) EXPECT_EQ(classifyRuleEntry(entry).kind, kind) << entry;
  // Entries without a prefix are skipped.
  for (const char* skipped : {"443", "", "10.0.0.1", "_range1:2", " @443"}) {
    const auto entry = classifyRuleEntry(skipped);
    EXPECT_EQ(entry.kind, skip) << skipped;
    EXPECT_TRUE(entry.value.empty()) << skipped;
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

class RuleRowsTest : public ::testing::Test {
 protected:
  test::World world;
  test::ManualLoop& loop = world.loop;
  test::FakeHostNames& hostNames = world.hostNames;
  const RulesContext& context = world.context;

  static std::vector<std::string> describe(const std::vector<std::shared_ptr<HXRecord>>& rows) {
    std::vector<std::string> out;
    for (const auto& row : rows) out.push_back(row->recordPrefix + row->recordType + ":" + row->recordAddress);
    return out;
  }
};

TEST_F(RuleRowsTest, RowsComeInTheFixedOrderOfKindsAndPrefixes) {
  const std::vector<std::string> matches = {"@443",       "#_range1:2", "@10.0.0.1",     "#10.0.0.0/8",
                                            "443",        "#10.0.0.2",  "@fe80::/10",    "#53",
                                            "@_range5:6", "@10.0.0.3",  "#172.16.0.0/12"};
  const auto rows = recordsForMatches(context, matches, 4);
  EXPECT_EQ(describe(rows),
            (std::vector<std::string>{"#address:10.0.0.2", "@address:10.0.0.1", "@address:10.0.0.3",
                                      "#subnet:10.0.0.0/8", "#subnet:172.16.0.0/12", "@subnet:fe80::/10", "#port:53",
                                      "@port:443", "#range:1:2", "@range:5:6"}));
}

TEST_F(RuleRowsTest, EveryoneRowFollowsTheState) {
  const std::vector<std::string> matches = {"#53"};
  const std::pair<std::int64_t, std::optional<std::int64_t>> cases[] = {
      {0, 0}, {1, 1}, {2, 0}, {3, 1}, {4, std::nullopt}, {7, std::nullopt}};
  for (const auto& [state, everyoneRule] : cases) {
    const auto rows = recordsForMatches(context, matches, state);
    const bool hasEveryone = rows.back()->recordType == "Everyone";
    ASSERT_EQ(hasEveryone, everyoneRule.has_value()) << "state " << state;
    if (!everyoneRule) continue;
    EXPECT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows.back()->recordAddress, "Everyone");
    EXPECT_EQ(rows.back()->recordRule, *everyoneRule) << "state " << state;
  }
}

TEST_F(RuleRowsTest, RowsRebuildTheEntriesTheyCameFrom) {
  const std::vector<std::string> matches = {"#_range8000:9000", "@10.0.0.0/8", "#443", "@fe80::1"};
  const auto rows = recordsForMatches(context, matches, 4);
  std::vector<std::string> rebuilt;
  for (const auto& row : rows) rebuilt.push_back(entryFromRecord(*row));
  std::sort(rebuilt.begin(), rebuilt.end());
  auto expected = matches;
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(rebuilt, expected);
}

}  // namespace
}  // namespace halvex
