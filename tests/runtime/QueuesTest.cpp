#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "runtime/AgentLoop.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/SerialQueue.h"

using namespace halvex;
using namespace std::chrono_literals;

// The blocks' accesses are ordered by the queue itself: a race here is the queue's fault.
TEST(SerialQueue, RunsBlocksOneAtATimeInSubmissionOrderAndSuspensionInsideABlockHoldsTheNext) {
  SerialQueue queue("test");
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  std::vector<int> order, expected;
  for (int i = 0; i < 50; ++i) {
    expected.push_back(i);
    queue.async([&, i] {
      if (running.fetch_add(1) != 0) overlapped = true;
      std::this_thread::yield();
      order.push_back(i);
      running.fetch_sub(1);
    });
  }
  queue.sync([] {});
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(order, expected);

  std::promise<void> firstDone;
  std::atomic<bool> second{false};
  queue.asyncBarrier([&] {
    queue.suspend();
    firstDone.set_value();  // the running block goes on to its end
  });
  queue.asyncBarrier([&] { second = true; });
  firstDone.get_future().wait();
  std::this_thread::sleep_for(30ms);
  EXPECT_FALSE(second);
  EXPECT_EQ(queue.suspendCount(), 1);
  EXPECT_EQ(queue.pendingCount(), 1u);
  queue.resume();
  queue.sync([] {});
  EXPECT_TRUE(second);
}

TEST(SerialQueue, SuspensionsBalanceAndSyncWaitsForTheLastResume) {
  SerialQueue queue("test");
  queue.suspend();
  queue.suspend();
  std::atomic<bool> ran{false};
  auto waiter = std::async(std::launch::async, [&] { queue.sync([&] { ran = true; }); });
  queue.resume();
  EXPECT_EQ(waiter.wait_for(30ms), std::future_status::timeout) << "one resume must not undo two suspends";
  EXPECT_FALSE(ran);
  queue.resume();
  waiter.get();
  EXPECT_TRUE(ran);
  EXPECT_EQ(queue.suspendCount(), 0);
}

TEST(SerialQueueDeathTest, ProgrammingErrorsEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(SerialQueue("over").resume(), "resumed more often than suspended");
  EXPECT_DEATH(
      {
        SerialQueue queue("self");
        queue.sync([&] { queue.sync([] {}); });
      },
      "sync called from its own thread");
}

TEST(ConcurrentQueue, ABlockThatNeverEndsDoesNotStarveTheOthersAndQueuedWorkRunsBeforeTheEnd) {
  std::promise<void> release;
  auto released = release.get_future().share();
  std::atomic<int> done{0};
  {
    ConcurrentQueue queue("test");
    queue.async([released] { released.wait(); });
    std::promise<void> second;
    queue.async([&] {
      ++done;
      second.set_value();
    });
    EXPECT_EQ(second.get_future().wait_for(5s), std::future_status::ready);
    EXPECT_GE(queue.threadCount(), 2u);
    release.set_value();
    for (int i = 0; i < 20; ++i) queue.async([&] { ++done; });
  }
  EXPECT_EQ(done, 21);
}

TEST(ConcurrentQueue, ABoundedQueueNeverGrowsPastItsBoundAndRunsEverything) {
  std::atomic<int> running{0}, most{0}, done{0};
  {
    ConcurrentQueue queue("bounded", 2);
    for (int i = 0; i < 50; ++i)
      queue.async([&] {
        const int now = ++running;
        for (int seen = most.load(); now > seen && !most.compare_exchange_weak(seen, now);) {
        }
        std::this_thread::sleep_for(1ms);
        --running;
        ++done;
      });
    EXPECT_LE(queue.threadCount(), 2u);
  }
  EXPECT_EQ(done, 50);
  EXPECT_LE(most, 2);
}

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
  EXPECT_EQ(repeats, 3);
  ASSERT_EQ(events.size(), 3u);
  const auto at = [&](const char* e) { return std::find(events.begin(), events.end(), e) - events.begin(); };
  EXPECT_LT(at("early"), at("late"));
  EXPECT_LT(at("waited on loop"), 3);
}
