#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

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

}  // namespace
}  // namespace halvex
