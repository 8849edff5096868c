#include <gtest/gtest.h>

#include "runtime/NotificationCenter.h"

using namespace halvex;

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
