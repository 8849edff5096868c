#include <gtest/gtest.h>

#include "fakes/World.h"
#include "rules/HXExclusion.h"
#include "rules/HXManagedRecords.h"
#include "rules/HXRecord.h"
#include "runtime/ConcurrentQueue.h"

namespace halvex {
namespace {

class HXRecordTest : public ::testing::Test {
 protected:
  HXRecordTest() {
    world.globals.enableNotifications = true;
    hostNames.set("8.8.8.8", {"dns.google", "alias.google"});
  }
  std::shared_ptr<HXRecord> row(std::string_view address, std::int64_t rule, std::string type = "address") {
    return std::make_shared<HXRecord>(context, address, std::move(type), Image::named("icon_ip"), rule);
  }

  test::World world;
  test::ManualLoop& loop = world.loop;
  test::FakeHostNames& hostNames = world.hostNames;
  const RulesContext& context = world.context;
};

TEST_F(HXRecordTest, AddressLosesEveryPrefixCharacterAndRuleGivesThePrefix) {
  const auto a = row("@10.0.0.1", 1);
  EXPECT_EQ(a->recordAddress, "10.0.0.1");
  EXPECT_EQ(row("10.0.0.1", 1)->recordAddress, "10.0.0.1");
  EXPECT_EQ(a->recordPrefix, "#");
  EXPECT_EQ(row("#1#2@3", 0)->recordAddress, "123");

  const auto passed = row("#443", 0);
  EXPECT_EQ(passed->recordPrefix, "@");
  EXPECT_EQ(passed->recordRuleImage, Image::named("passedup"));
  EXPECT_EQ(passed->labelColor, Color::textColor());
  EXPECT_EQ(passed->recordLabel, "443");
  const auto blocked = row("443", 5);
  EXPECT_EQ(blocked->recordPrefix, "#");
  EXPECT_EQ(blocked->recordRuleImage, Image::named("blockedup"));
  EXPECT_EQ(blocked->labelColor, Color::redColor());
}

TEST_F(HXRecordTest, OnlyTheEveryoneRowIsDisabledAndOnlyWhileAlertsAreOff) {
  EXPECT_TRUE(row("Everyone", 0, "Everyone")->recordIsEnabled);
  world.globals.enableNotifications = false;
  EXPECT_FALSE(row("Everyone", 0, "Everyone")->recordIsEnabled);
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

TEST(HXExclusionTest, RuleImagesLockAndColour) {
  test::World world;
  world.icons.set("/opt/tools", "folder");
  const RulesContext& context = world.context;

  const HXExclusion pass(context, "/opt/tools", 0, false, false);
  EXPECT_EQ(pass.ruleImage, Image::named("passedup"));
  EXPECT_EQ(pass.buttonImage, Image::named("NSLockUnlockedTemplate"));
  EXPECT_EQ(pass.labelColor, Color::controlTextColor());
  EXPECT_EQ(pass.icon, Image::named("folder"));

  HXExclusion block(context, "/", 3, true, false);
  EXPECT_EQ(block.ruleImage, Image::named("blockedup"));
  EXPECT_EQ(block.buttonImage, Image::named("NSLockLockedTemplate"));
  EXPECT_EQ(block.labelColor, Color::redColor());
  EXPECT_EQ(block.icon, Image::named("NSComputer"));
  EXPECT_TRUE(block.ignored);
  block.rule = 0;
  block.setRuleIcon();
  EXPECT_EQ(block.ruleImage, Image::named("passedup"));

  const HXExclusion builtIn(context, "/usr/bin", 1, false, true);
  EXPECT_EQ(builtIn.labelColor, Color::grayColor());
  EXPECT_EQ(builtIn.ruleImage, Image::named("blockedup"));
}

TEST(HXManagedRecordsTest, IconByTypeAndImageByRule) {
  const std::pair<std::int64_t, const char*> icons[] = {{0, "icon_ip"},        {1, "icon_subnet"},  {2, "icon_port"},
                                                        {3, "icon_portrange"}, {16, "icon_subnet"}, {99, "icon_ip"},
                                                        {-4, "icon_ip"}};
  for (const auto& [type, icon] : icons) {
    EXPECT_EQ(HXManagedRecords("x", type, 0).icon, Image::named(icon)) << type;
  }
  const HXManagedRecords pass("10.0.0.0/8", 1, 0);
  EXPECT_EQ(pass.image, Image::named("passedup"));
  EXPECT_EQ(pass.labelColor, Color::controlTextColor());
  const HXManagedRecords block("53", 2, 1);
  EXPECT_EQ(block.image, Image::named("blockedup"));
  EXPECT_EQ(block.labelColor, Color::redColor());
  const HXManagedRecords other("53", 2, 2);
  EXPECT_TRUE(other.image.empty());
  EXPECT_TRUE(other.labelColor.isEmpty());
}

}  // namespace
}  // namespace halvex
