#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "runtime/AgentLoop.h"
#include "runtime/MainLoop.h"

using namespace halvex;
using namespace std::chrono_literals;

TEST(AgentLoop, RunsPostsAndTimersOnItsThreadUntilQuit) {
  AgentLoop loop;
  std::vector<std::string> events;
  std::thread::id loopThread;
  bool inner = false;
  loop.post([&] {
    loopThread = std::this_thread::get_id();
    loop.postAndWait([&] { inner = true; });
    EXPECT_TRUE(inner) << "postAndWait on the loop thread runs at once";
  });
  loop.scheduleTimer(20ms, false, [&] { events.push_back("late"); });
  loop.scheduleTimer(1ms, false, [&] { events.push_back("early"); });
  int repeats = 0;
  MainLoop::TimerId repeating = 0;
  repeating = loop.scheduleTimer(2ms, true, [&] {
    if (++repeats == 3) loop.cancelTimer(repeating);
  });
  loop.scheduleTimer(60ms, false, [&] { loop.quit(7); });

  std::thread other([&] {
    std::this_thread::sleep_for(5ms);
    loop.postAndWait([&] { events.push_back(loop.isLoopThread() ? "waited on loop" : "wrong thread"); });
  });
  EXPECT_EQ(loop.run(), 7);
  other.join();

  EXPECT_EQ(loopThread, std::this_thread::get_id());
  EXPECT_TRUE(inner);
  EXPECT_EQ(repeats, 3);
  ASSERT_EQ(events.size(), 3u);
  const auto at = [&](const char* e) { return std::find(events.begin(), events.end(), e) - events.begin(); };
  EXPECT_LT(at("early"), at("late"));
  EXPECT_LT(at("waited on loop"), 3);
}
