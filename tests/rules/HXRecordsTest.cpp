#include <gtest/gtest.h>

#include "fakes/World.h"
#include "rules/HXRecord.h"
#include "runtime/ConcurrentQueue.h"

namespace halvex {
namespace {

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

}  // namespace
}  // namespace halvex
