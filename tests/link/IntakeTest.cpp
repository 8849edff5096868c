#include <gtest/gtest.h>

#include "link/ChannelWorld.h"
#include "link/RequestLine.h"

using namespace halvex;
using namespace halvex::test;

namespace {

using Lines = std::vector<std::string>;

class Intake : public ::testing::Test {
 protected:
  void SetUp() override {
    world.processes.add(300, "/usr/bin/curl", 501);
    world.processes.add(301, "/usr/bin/ssh", 0);
  }
  void request(const std::string& line) { world.agent.bridge.readRequest(line); }
  void expectIdle() {
    EXPECT_TRUE(world.globals.notifyControllers.empty());
    EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 0);
  }
  ChannelWorld world;
};

}  // namespace

// Alerts are off: every live process is passed with its line echoed as received; a vanished or
// unnamed one is passed at once, its line feeds removed, and no controller is made.
TEST_F(Intake, MalformedLinesAreDroppedSilentlyAndEveryOtherRequestIsPassed) {
  for (const std::string& bad : Lines{"", "1 192.0.2.1 443 300 TCP 4", "1 192.0.2.1 443 300 TCP 4 0 extra",
                                      "1  192.0.2.1 443 300 TCP 4 0",  // two blanks make an eighth, empty field
                                      "\n\n", std::string("\x01\xfe\x7f", 3)})
    request(bad);
  request(requestLine("1", 300) + "\n");
  request("5 192.0.2.1 443 777 TCP 4 0\n");
  request("6 192.0.2.1 443 abc TCP 4 0");
  request("7 192.0.2.1 443 -300 TCP 4 0");
  request(requestLine("2", 301));
  world.settle(5);
  EXPECT_EQ(world.sockets.sentLines(), (Lines{requestLine("1", 300) + "\n 0 # #", "5 192.0.2.1 443 777 TCP 4 0 0 # #",
                                              "6 192.0.2.1 443 abc TCP 4 0 0 # #", "7 192.0.2.1 443 -300 TCP 4 0 0 # #",
                                              requestLine("2", 301) + " 0 # #"}));
  EXPECT_EQ(world.globals.requestCounter, 6u) << "a dropped line moves no counter; a vanished process uses its tag";
  expectIdle();
  EXPECT_EQ(pidFromField("300abc"), 300);
  EXPECT_EQ(pidFromField("99999999999"), INT32_MAX);
}

TEST_F(Intake, RequestsAreDecidedStrictlyOneAfterTheOtherAndTagsWrapFrom999999BackToTwo) {
  world.globals.requestCounter = 999998;
  request(requestLine("1", 300));
  request(requestLine("2", 301));
  // The first request waits for the main loop; the queue is held, so the second is not parsed.
  ASSERT_TRUE(world.loop.waitForPosted());
  EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 1);
  EXPECT_EQ(world.globals.synchronizedNotification.pendingCount(), 1u);
  EXPECT_TRUE(world.sockets.sentLines().empty());
  world.settle(2);
  EXPECT_EQ(world.sockets.sentLines(), (Lines{requestLine("1", 300) + " 0 # #", requestLine("2", 301) + " 0 # #"}));
  EXPECT_EQ(world.globals.requestCounter, 2u) << "999999 is used, then the tags wrap";
}

TEST_F(Intake, TheDecisionGetsTheRequestAsOneValueAndFinishingReleasesTheQueue) {
  world.globals.enableNotifications = true;
  const std::string line = "t 2001:db8::1 443 300 UDP 6 0\n";
  world.intake(line);
  world.loop.runPending();
  ASSERT_EQ(world.alerts.shown.size(), 1u);
  const Request& r = world.alerts.shown[0].request;
  EXPECT_EQ((Lines{std::to_string(r.processPid), std::to_string(r.processUID), r.processIP, r.processPort,
                   r.processUDPorTCP, r.processIPversion, r.tagNotify, r.processName, r.originalRequestString}),
            (Lines{"300", "501", "2001:db8::1", "443", "UDP", "6", "2", "/usr/bin/curl", line}));
  EXPECT_EQ(world.globals.synchronizedNotification.suspendCount(), 1);
  world.endRequest("2");
  expectIdle();
}

TEST_F(Intake, AHelperServiceSpeaksForItsResponsibleAppOnlyWhenThatAppIsThere) {
  world.globals.enableNotifications = true;
  const std::string service = "/opt/Big.app/Contents/XPCServices/Net.xpc/Contents/MacOS/Net";
  world.processes.add(400, "/opt/Big.app/Contents/MacOS/Big", 501);
  struct Case {
    bool automaticXPC;
    std::string path, responsible, expected;
  } cases[] = {
      {true, service, "400", "/opt/Big.app/Contents/MacOS/Big"},
      {true, service, "0", service},                    // no responsible app
      {true, service, "999", service},                  // it has gone
      {true, "/usr/bin/curl", "400", "/usr/bin/curl"},  // no service
      {false, service, "400", service},                 // substitution switched off
  };
  for (const auto& c : cases) {
    world.globals.automaticXPC = c.automaticXPC;
    world.processes.add(302, c.path, 501);
    world.intake("1 192.0.2.1 443 302 TCP 4 " + c.responsible);
    world.loop.runPending();
    ASSERT_FALSE(world.alerts.shown.empty());
    EXPECT_EQ(world.alerts.shown.back().request.processName, c.expected) << c.path << " via " << c.responsible;
    world.endRequest(world.alerts.shown.back().tag());
  }
}
