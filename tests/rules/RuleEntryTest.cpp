#include <gtest/gtest.h>

#include "fakes/FakeHostNames.h"
#include "fakes/ManualLoop.h"
#include "rules/HXRecord.h"
#include "rules/RuleEntry.h"

namespace halvex {
namespace {

RuleEntryKind kindOf(const char* entry) { return classifyRuleEntry(entry).kind; }

TEST(RuleEntryTest, ClassifiesByTheFixedOrderOfTests) {
  EXPECT_EQ(kindOf("@192.168.1.5"), RuleEntryKind::address);
  EXPECT_EQ(kindOf("#10.0.0.0/8"), RuleEntryKind::subnet);
  EXPECT_EQ(kindOf("@443"), RuleEntryKind::port);
  EXPECT_EQ(kindOf("#_range8000:9000"), RuleEntryKind::range);
  // A "/" makes a subnet before any address test; "_range" a range despite its ":".
  EXPECT_EQ(kindOf("@fe80::1/64"), RuleEntryKind::subnet);
  EXPECT_EQ(kindOf("@_range1:2"), RuleEntryKind::range);
  EXPECT_EQ(kindOf("@_range1/2"), RuleEntryKind::range);
  EXPECT_EQ(kindOf("@fe80::1"), RuleEntryKind::address);
  EXPECT_EQ(kindOf("#example.com"), RuleEntryKind::address);
}

TEST(RuleEntryTest, PortsAreWholeIntegersFrom1To65535) {
  EXPECT_EQ(kindOf("@1"), RuleEntryKind::port);
  EXPECT_EQ(kindOf("@65535"), RuleEntryKind::port);
  EXPECT_EQ(kindOf("@0443"), RuleEntryKind::port);
  for (const char* address : {"#0", "@65536", "@70000", "@-5", "@", "@44x", "@4 4", "@99999999999999999999"}) {
    EXPECT_EQ(kindOf(address), RuleEntryKind::address) << address;
  }
}

TEST(RuleEntryTest, EntriesWithoutPrefixAreSkipped) {
  for (const char* skipped : {"443", "", "10.0.0.1", "_range1:2", " @443"}) {
    const auto entry = classifyRuleEntry(skipped);
    EXPECT_EQ(entry.kind, RuleEntryKind::skip) << skipped;
    EXPECT_TRUE(entry.value.empty()) << skipped;
  }
}

TEST(RuleEntryTest, ValuesLoseThePrefixAndTheRangeWord) {
  const auto range = classifyRuleEntry("#_range8000:9000");
  EXPECT_EQ(range.rowText, "#8000:9000");
  EXPECT_EQ(range.value, "8000:9000");
  EXPECT_EQ(range.rule(), 1);
  const auto subnet = classifyRuleEntry("@10.0.0.0/8");
  EXPECT_EQ(subnet.value, "10.0.0.0/8");
  EXPECT_EQ(subnet.rule(), 0);
}

class RuleRowsTest : public ::testing::Test {
 protected:
  test::ManualLoop loop;
  test::FakeHostNames hostNames;
  RulesContext context = [this] {
    RulesContext c;
    c.mainLoop = &loop;
    c.hostNames = &hostNames;
    return c;
  }();

  static std::vector<std::string> describe(const std::vector<std::shared_ptr<HXRecord>>& rows) {
    std::vector<std::string> out;
    for (const auto& row : rows) out.push_back(row->recordPrefix + row->recordType + ":" + row->recordAddress);
    return out;
  }
};

TEST_F(RuleRowsTest, RowsComeInTheFixedOrderOfKindsAndPrefixes) {
  const std::vector<std::string> matches = {"@443",         "#_range1:2", "@10.0.0.1", "#10.0.0.0/8",   "443",
                                            "#10.0.0.2",    "@fe80::/10", "#53",       "@_range5:6", "@10.0.0.3",
                                            "#172.16.0.0/12"};
  const auto rows = recordsForMatches(context, matches, 4);
  EXPECT_EQ(describe(rows), (std::vector<std::string>{
                                "#address:10.0.0.2", "@address:10.0.0.1", "@address:10.0.0.3",
                                "#subnet:10.0.0.0/8", "#subnet:172.16.0.0/12", "@subnet:fe80::/10", "#port:53",
                                "@port:443", "#range:1:2", "@range:5:6"}));
  EXPECT_EQ(rows.front()->recordImage, Image::named("icon_ip"));
  EXPECT_EQ(rows[3]->recordImage, Image::named("icon_subnet"));
  EXPECT_EQ(rows[6]->recordImage, Image::named("icon_port"));
  EXPECT_EQ(rows.back()->recordImage, Image::named("icon_portrange"));
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
    EXPECT_EQ(rows.back()->recordImage, Image::named("grp_everyone"));
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
