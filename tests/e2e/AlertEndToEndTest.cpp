// A headless agent with alerts on is a usable firewall: its alerts are answered through a pipe,
// the answers become replies and rules the daemon hears of, an unanswered alert expires, and bad
// lines change nothing.

#include <gtest/gtest.h>

#include <signal.h>

#include "e2e/Harness.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

TEST(AlertEndToEnd, AlertsAreAnsweredThroughAPipeExpireUnansweredAndSurviveBadLines) {
  TempRoot root;
  writeAlertsOnConfiguration(root, 2.0);
  AnswerPipe answers(root);
  const auto say = [&](const std::string& text) { answers.say(text); };

  NotificationRecorder recorder;
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  Agent agent(root, {}, answers.path());
  ASSERT_TRUE(recorder.waitFor("startAgent")) << agent.output();
  const auto printed = [&](const std::string& text) {
    return waitUntil([&] { return agent.output().find(text) != std::string::npos; }, 10000ms);
  };
  const auto lists = recorder.count("newAppListReceived");

  // An answer before any alert waits for the next one.
  say("pass port\n");
  ASSERT_TRUE(printed("[alert] no alert is open: the answer waits for the next")) << agent.output();
  auto sleeper = startSleeper();
  const std::string pid = std::to_string(sleeper->pid());
  ASSERT_TRUE(daemon.sendLine("7 192.0.2.7 443 " + pid + " TCP 4 0"));
  auto reply = daemon.receive(10000ms);
  ASSERT_TRUE(reply) << agent.output();
  EXPECT_EQ(*reply, "7 192.0.2.7 443 " + pid + " TCP 4 0 4 1 0");
  EXPECT_TRUE(printed("using sleep is trying a TCP connection to ")) << agent.output();
  EXPECT_TRUE(printed(" 192.0.2.7 on port 443")) << agent.output();
  EXPECT_TRUE(printed("] answered 4 1 0")) << agent.output();

  // The port rule settles the same port at once; another port asks again, and bad lines while it
  // is open change nothing.
  ASSERT_TRUE(daemon.sendLine("8 192.0.2.8 443 " + pid + " TCP 4 0"));
  reply = daemon.receive(10000ms);
  ASSERT_TRUE(reply);
  EXPECT_EQ(*reply, "8 192.0.2.8 443 " + pid + " TCP 4 0 4 1 0");
  ASSERT_TRUE(daemon.sendLine("9 192.0.2.9 80 " + pid + " TCP 4 0"));
  ASSERT_TRUE(printed(" 192.0.2.9 on port 80 (http).")) << "named from the system's services: " << agent.output();
  say("wait\n");
  say(std::string(100 * 1024, 'x') + "\n");
  say(std::string("pass \x01\xff\x1b[2J\n"));
  say("pass app 0\npass app 1441\npass app 5x\npass port now\n");
  say("pass network 10.0.0.0/8\n");
  EXPECT_TRUE(printed("not one of the offered networks")) << agent.output();
  say("block network /24\n");
  reply = daemon.receive(10000ms);
  ASSERT_TRUE(reply) << agent.output();
  EXPECT_EQ(*reply, "9 192.0.2.9 80 " + pid + " TCP 4 0 4 0 1");
  EXPECT_TRUE(waitUntil([&] { return recorder.count("newAppListReceived") > lists; }))
      << "a network rule is written to the daemon at once";

  // Nobody answers: the alert expires and passes the app for a while.
  ASSERT_TRUE(daemon.sendLine("10 198.51.100.1 22 " + pid + " UDP 4 0"));
  reply = daemon.receive(10000ms);
  ASSERT_TRUE(reply) << agent.output();
  EXPECT_EQ(*reply, "10 198.51.100.1 22 " + pid + " UDP 4 0 0 # #");
  EXPECT_TRUE(printed("] expired 0 # #")) << agent.output();

  say("alerts off\nstatus\n");
  EXPECT_TRUE(printed("[status] alerts off")) << agent.output();
  agent.signal(SIGTERM);
  EXPECT_EQ(agent.wait(), 0) << agent.output();
}
