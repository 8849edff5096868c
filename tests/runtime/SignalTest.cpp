#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "runtime/NotificationCenter.h"
#include "runtime/ObservedFlag.h"
#include "runtime/Signal.h"

namespace halvex {
namespace {

TEST(Signal, EveryListenerHearsInOrderUntilItsTokenOrConnectionGoes) {
  Signal<int> changed;
  std::vector<std::string> heard;
  const auto first = changed.connect([&](int v) { heard.push_back("a" + std::to_string(v)); });
  {
    Connection scoped(changed, [&](int v) { heard.push_back("b" + std::to_string(v)); });
    changed(1);
    EXPECT_EQ(changed.listenerCount(), 2u);
  }
  changed(2);
  changed.disconnect(first);
  changed.disconnect(first);  // twice, or unknown: nothing
  changed(3);
  EXPECT_EQ(heard, (std::vector<std::string>{"a1", "b1", "a2"}));
  EXPECT_EQ(changed.listenerCount(), 0u);
}

TEST(Signal, AListenerMayDisconnectItselfAndConnectOthersWhileItRuns) {
  Signal<> changed;
  int once = 0, later = 0;
  Signal<>::Token self = 0;
  self = changed.connect([&] {
    ++once;
    changed.disconnect(self);
    changed.connect([&] { ++later; });
  });
  changed();
  EXPECT_EQ(later, 0) << "a listener connected during a raise hears the next one";
  changed();
  EXPECT_EQ(once, 1);
  EXPECT_EQ(later, 1);
}

TEST(Signal, RaisingFromManyThreadsWhileListenersComeAndGoIsSafe) {
  Signal<int> changed;
  std::atomic<int> sum{0};
  Connection kept(changed, [&](int v) { sum += v; });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        Connection passing(changed, [](int) {});
        changed(1);
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(sum.load(), 2000);
}

TEST(ObservedFlag, AnnouncesChangesOfValueOnly) {
  ObservedFlag alerts{false};
  std::vector<bool> heard;
  Connection c(alerts.changed, [&](bool v) { heard.push_back(v); });
  alerts = true;
  alerts = true;
  alerts.store(false);
  alerts = false;
  EXPECT_EQ(heard, (std::vector<bool>{true, false}));
  EXPECT_FALSE(alerts);
}

// The in-process notification centre: listeners by name.
TEST(NotificationCenter, DeliversByNameInOrderWithUserInfoAndObjectAndHandlersMayPostAgain) {
  NotificationCenter center;
  std::vector<std::string> seen;
  center.addObserver("expireApp", [&](const Notification& n) {
    seen.push_back("first " + *n.userInfo.find("appName")->asString());
    EXPECT_EQ(std::any_cast<int>(n.object), 42);
  });
  center.addObserver("other", [&](const Notification&) { seen.push_back("other"); });
  center.addObserver("expireApp", [&](const Notification&) { seen.push_back("second"); });
  center.post("expireApp", plist::Dictionary{{"appName", "/usr/bin/curl"}}, 42);
  EXPECT_EQ(seen, (std::vector<std::string>{"first /usr/bin/curl", "second"}));

  seen.clear();
  center.addObserver("a", [&](const Notification&) {
    seen.push_back("a");
    center.post("other");
  });
  center.post("a");
  EXPECT_EQ(seen, (std::vector<std::string>{"a", "other"}));
}

TEST(NotificationCenter, ObserversMayRemoveThemselvesAndOthersWhilePosting) {
  NotificationCenter center;
  int firstCalls = 0, secondCalls = 0;
  NotificationCenter::Token first = 0, second = 0;
  first = center.addObserver("n", [&](const Notification&) {
    ++firstCalls;
    center.removeObserver(first);
    center.removeObserver(second);
  });
  second = center.addObserver("n", [&](const Notification&) { ++secondCalls; });
  center.post("n");
  center.post("n");
  EXPECT_EQ(firstCalls, 1);
  EXPECT_EQ(secondCalls, 0) << "an observer removed during a post is not called";
  EXPECT_EQ(center.observerCount("n"), 0u);
}

}  // namespace
}  // namespace halvex
