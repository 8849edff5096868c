#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fakes/World.h"
#include "intelligence/HXSockController.h"
#include "platform/linux/LinuxHostNames.h"
#include "platform/linux/LinuxTcpProbe.h"

namespace halvex {
namespace {

using namespace std::chrono_literals;

class Sock : public ::testing::Test {
 protected:
  test::World w;
  HXSockController& sock_ = w.agent.sockController;
};

TEST(WhoisText, MarkersAreRemovedInOrder) {
  EXPECT_EQ(cleanWhoisText("% Abuse contact\nNetRange: 1.0.0.0 # note\n## x#y\n"),
            "Abuse contact\nNetRange: 1.0.0.0 note\nxy\n");
  EXPECT_EQ(cleanWhoisText("100%\n50% off"), "100%\n50off") << "only a percent sign followed by a blank goes";
  EXPECT_EQ(cleanWhoisText("#% x"), "x") << "removing '#' can make a new '% '";
}

TEST_F(Sock, WhoisRunsTheToolQuietlyAndPrintsTheCleanReport) {
  w.runner.answerWith({true, false, 0, "% IANA WHOIS\n# comment\nrefer: whois.example\n"});
  std::string done;
  sock_.clickWhois("1.2.3.4", [&](const std::string& text) { done = text; });
  ASSERT_TRUE(w.loop.waitAndRun());
  EXPECT_EQ(done, "IANA WHOIS\ncomment\nrefer: whois.example");
  EXPECT_EQ(w.reports.str(), done + "\n");
  const auto requests = w.runner.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].arguments, (std::vector<std::string>{"-c", "/r/usr/bin/whois 1.2.3.4"}));

  // The console refuses such texts itself; the report must refuse them for its other callers too.
  using namespace std::string_literals;
  for (const std::string& text :
       {"1.2.3.4; rm -rf ~"s, "\"\xFF"s, "face"s, "::::"s, "1.2.3.4\0; reboot"s, "fe80::1%eth0"s})
    EXPECT_EQ(sock_.whoisReport(text), "ERROR") << text;
  EXPECT_EQ(w.runner.requests().size(), 1u) << "a text that is no address never reaches a shell";
}

TEST_F(Sock, CheckWhoisIsBoundedAndAlwaysAnnouncesItsEnd) {
  int posted = 0;
  w.globals.notificationCenter.addObserver("startwhoisquery", [&](const Notification&) { ++posted; });
  w.probe.reachable = false;
  sock_.checkWhois();
  EXPECT_EQ(sock_.responseString(), "1");
  ASSERT_TRUE(w.loop.waitAndRun());
  EXPECT_EQ(sock_.responseString(), "1");
  EXPECT_EQ(posted, 1);
  EXPECT_EQ(w.probe.lastHost, "whois.arin.net");
  EXPECT_EQ(w.probe.lastTimeout, 5000ms);

  w.probe.reachable = true;
  sock_.checkWhois();
  EXPECT_EQ(sock_.responseString(), "1") << "not open until the test has ended";
  ASSERT_TRUE(w.loop.waitAndRun());
  EXPECT_EQ(sock_.responseString(), "2");
  EXPECT_EQ(posted, 2);
}

TEST(LinuxNetworkAdapters, ProbeAndReverseNamesOnTheLoopback) {
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(listener, 1), 0);
  socklen_t length = sizeof address;
  ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  const auto port = ntohs(address.sin_port);
  LinuxTcpProbe probe;
  EXPECT_TRUE(probe.canConnect("127.0.0.1", port, 1000ms));
  ::close(listener);
  EXPECT_FALSE(probe.canConnect("127.0.0.1", port, 1000ms));
  EXPECT_FALSE(probe.canConnect("no such host.invalid", 43, 1000ms));

  LinuxHostNames names;
  EXPECT_TRUE(names.namesForAddress("not an address").empty());
  EXPECT_TRUE(names.namesForAddress("").empty());
  const auto loopback = names.namesForAddress("127.0.0.1");
  ASSERT_FALSE(loopback.empty()) << "the hosts file names the loopback";
  EXPECT_FALSE(loopback.front().empty());
}

}  // namespace
}  // namespace halvex
