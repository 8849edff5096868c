#include <gtest/gtest.h>

#include "fakes/World.h"
#include "rules/HXRecord.h"
#include "rules/RuleEntry.h"
#include "runtime/ConcurrentQueue.h"

namespace halvex {
namespace {

using namespace std::string_literals;

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
  const auto r = classifyRuleEntry("#_range8000:9000");
  EXPECT_EQ(std::tuple(r.rowText, r.value, r.rule()), std::tuple("#8000:9000"s, "8000:9000"s, 1));
  const auto s = classifyRuleEntry("@10.0.0.0/8");
  EXPECT_EQ(std::tuple(s.value, s.rule()), std::tuple("10.0.0.0/8"s, 0));
}

// The rows of an app's rule view, made from its entries.
class HXRecordTest : public ::testing::Test {
 protected:
  HXRecordTest() {
    world.globals.enableNotifications = true;
    world.hostNames.set("8.8.8.8", {"dns.google", "alias.google"});
  }
  std::shared_ptr<HXRecord> row(std::string_view address, std::int64_t rule, std::string type = "address") {
    return std::make_shared<HXRecord>(context, address, std::move(type), Image::named("icon_ip"), rule);
  }

  test::World world;
  test::ManualLoop& loop = world.loop;
  const RulesContext& context = world.context;
};

// The prefix is what a row's entry is rebuilt from; the Everyone row is the app's whole rule.
TEST_F(HXRecordTest, AddressLosesEveryPrefixCharacterAndTheRuleGivesThePrefix) {
  EXPECT_EQ(row("@10.0.0.1", 1)->recordAddress, "10.0.0.1");
  EXPECT_EQ(row("#1#2@3", 0)->recordAddress, "123");
  EXPECT_EQ(row("@10.0.0.1", 1)->recordPrefix, "#");
  EXPECT_EQ(row("#443", 0)->recordPrefix, "@");
  EXPECT_EQ(row("#443", 0)->recordLabel, "443");
  EXPECT_EQ(row("443", 5)->recordPrefix, "#");

  EXPECT_TRUE(row("Everyone", 0, "Everyone")->recordIsEnabled);
  world.globals.enableNotifications = false;
  EXPECT_FALSE(row("Everyone", 0, "Everyone")->recordIsEnabled) << "disabled only while alerts are off";
  EXPECT_TRUE(row("10.0.0.1", 0)->recordIsEnabled);
}

TEST_F(HXRecordTest, HostNameOperationWaitsToBeStartedThenLabelsOnTheLoop) {
  const auto record = row("@8.8.8.8", 0);
  ASSERT_TRUE(record->operationDisplayHostName);
  loop.runPending();
  EXPECT_EQ(record->recordLabel, "8.8.8.8");  // made, not started
  EXPECT_FALSE(record->operationDisplayHostName->isFinished());

  ConcurrentQueue queue("hostNames");
  queue.async([op = record->operationDisplayHostName] { op->start(); });
  ASSERT_TRUE(loop.waitAndRun());
  EXPECT_EQ(record->recordLabel, "dns.google");
  record->operationDisplayHostName->start();  // runs at most once
  EXPECT_EQ(loop.runPending(), 0u);

  record->displayIP();
  EXPECT_EQ(record->recordLabel, "8.8.8.8");
}

TEST_F(HXRecordTest, CancelledOrUnknownLookupsLeaveTheLabel) {
  const auto unknown = row("10.9.9.9", 0);
  unknown->operationDisplayHostName->start();
  EXPECT_EQ(loop.runPending(), 0u);
  EXPECT_EQ(unknown->recordLabel, "10.9.9.9");

  // Cancelled after its look-up ended but before the loop ran the label change.
  const auto late = row("8.8.8.8", 0);
  late->operationDisplayHostName->start();
  late->operationDisplayHostName->cancel();
  loop.runPending();
  EXPECT_EQ(late->recordLabel, "8.8.8.8");

  // A fresh operation replaces and cancels the old one.
  const auto record = row("8.8.8.8", 0);
  const auto old = record->operationDisplayHostName;
  record->displayHostName();
  EXPECT_TRUE(old->isCancelled());
  EXPECT_NE(record->operationDisplayHostName, old);
  old->start();
  EXPECT_FALSE(old->isFinished());

  // A row gone before the loop delivers is not written to.
  auto gone = row("8.8.8.8", 0);
  const auto op = gone->operationDisplayHostName;
  op->start();
  gone.reset();
  EXPECT_EQ(loop.runPending(), 1u);
}

TEST_F(HXRecordTest, RowsComeInTheFixedOrderOfKindsAndPrefixesAndRebuildTheirEntries) {
  const std::vector<std::string> matches = {"@443",       "#_range1:2", "@10.0.0.1",     "#10.0.0.0/8",
                                            "443",        "#10.0.0.2",  "@fe80::/10",    "#53",
                                            "@_range5:6", "@10.0.0.3",  "#172.16.0.0/12"};
  std::vector<std::string> described, rebuilt;
  for (const auto& row : recordsForMatches(context, matches, 4)) {
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

TEST_F(HXRecordTest, EveryoneRowFollowsTheState) {
  const std::pair<std::int64_t, std::optional<std::int64_t>> cases[] = {
      {0, 0}, {1, 1}, {2, 0}, {3, 1}, {4, std::nullopt}, {7, std::nullopt}};
  for (const auto& [state, everyoneRule] : cases) {
    const auto rows = recordsForMatches(context, {"#53"}, state);
    ASSERT_EQ(rows.size(), everyoneRule ? 2u : 1u) << "state " << state;
    if (!everyoneRule) continue;
    EXPECT_EQ(rows.back()->recordAddress, "Everyone");
    EXPECT_EQ(rows.back()->recordType, "Everyone");
    EXPECT_EQ(rows.back()->recordRule, *everyoneRule) << "state " << state;
  }
}

}  // namespace
}  // namespace halvex
