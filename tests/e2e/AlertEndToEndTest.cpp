// A headless agent with alerts on is a usable firewall: its alerts are answered through a pipe,
// the answers become replies and rules the daemon hears of, an unanswered alert expires, bad lines
// change nothing, a quiet time answers a burst after one alert, and an app passed until logout is
// gone after a restart.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "configuration/ConfigurationSnapshot.h"
#include "e2e/Harness.h"
#include "platform/linux/LinuxFileSystem.h"
#include "runtime/PlistIO.h"
#include "standin/DaemonConfiguration.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

class AlertEndToEnd : public ::testing::Test {
 protected:
  // The agents read their answers from a FIFO in the root, open at both ends here so that neither
  // this open nor an agent's waits for the other, and open between agents.
  AlertEndToEnd() {
    if (::mkfifo(answers.c_str(), 0600) != 0 || (answersFd = ::open(answers.c_str(), O_RDWR)) < 0)
      throw std::runtime_error("no answers pipe at " + answers);
  }
  ~AlertEndToEnd() override { ::close(answersFd); }
  void say(const std::string& text) const {
    EXPECT_EQ(::write(answersFd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  // The configuration an agent reads at start: alerts on, `timeoutSeconds` to answer one.
  void alertsOn(double timeoutSeconds) const {
    using plist::Value;
    const plist::Array records{Value(plist::Dictionary{{"HalvexClassName", Value("HXPreferences")},
                                                       {"enableNotifications", Value(true)},
                                                       {"notificationsTimeOut", Value(timeoutSeconds)},
                                                       {"automaticXPC", Value(true)},
                                                       {"popSound", Value(false)}})};
    const std::string conf = root.paths().confPath();
    std::filesystem::create_directories(std::filesystem::path(conf).parent_path());
    std::ofstream(conf) << plist::toXml(Value(plist::Array{Value(encodedConfiguration(records, "alerts"))}));
  }
  // Sends the request of `asker` with the next tag; its line.
  std::string send(const Child& asker, const std::string& address, const std::string& port = "443",
                   const std::string& protocol = "TCP") {
    const std::string line = std::to_string(++tag) + " " + address + " " + port + " " + std::to_string(asker.pid()) +
                             " " + protocol + " 4 0";
    // The agent posts startAgent while its reader is still binding the socket.
    EXPECT_TRUE(waitUntil([&] { return daemon.sendLine(line); }));
    return line;
  }
  // What the next reply appends to `line`.
  std::string verdict(const std::string& line) {
    const auto reply = daemon.receive(10000ms);
    if (!reply) return "no reply";
    return reply->rfind(line, 0) == 0 ? reply->substr(line.size()) : "a reply to another request: " + *reply;
  }

  TempRoot root;
  const std::string answers = root.path() + "/answers";
  int answersFd = -1;
  NotificationRecorder recorder;
  standin::DaemonPeer daemon{root.paths().daemonSocket(), root.paths().agentSocket()};
  int tag = 0;
};

TEST_F(AlertEndToEnd, AlertsAreAnsweredThroughAPipeExpireUnansweredAndSurviveBadLines) {
  alertsOn(2.0);
  Agent agent(root, {}, answers);
  ASSERT_TRUE(recorder.waitFor("startAgent")) << agent.output();
  const auto lists = recorder.count("newAppListReceived");

  // An answer before any alert waits for the next one.
  say("pass port\n");
  ASSERT_TRUE(agent.prints("[alert] no alert is open: the answer waits for the next")) << agent.output();
  const auto sleeper = startSleeper();
  auto line = send(*sleeper, "192.0.2.7");
  EXPECT_EQ(verdict(line), " 4 1 0") << agent.output();
  EXPECT_TRUE(agent.prints("using sleep is trying a TCP connection to ")) << agent.output();
  EXPECT_TRUE(agent.prints(" 192.0.2.7 on port 443")) << agent.output();
  EXPECT_TRUE(agent.prints("] answered 4 1 0")) << agent.output();

  // The port rule settles the same port at once; another port asks again, and bad lines while it
  // is open change nothing.
  EXPECT_EQ(verdict(send(*sleeper, "192.0.2.8")), " 4 1 0");
  line = send(*sleeper, "192.0.2.9", "80");
  ASSERT_TRUE(agent.prints(" 192.0.2.9 on port 80 (http).")) << "named from the system's services: " << agent.output();
  say("wait\n");
  say(std::string(100 * 1024, 'x') + "\n");
  say(std::string("pass \x01\xff\x1b[2J\n"));
  say("pass app 0\npass app 1441\npass app 5x\npass port now\n");
  say("pass network 10.0.0.0/8\n");
  EXPECT_TRUE(agent.prints("not one of the offered networks")) << agent.output();
  say("block network /24\n");
  EXPECT_EQ(verdict(line), " 4 0 1") << agent.output();
  EXPECT_TRUE(waitUntil([&] { return recorder.count("newAppListReceived") > lists; }))
      << "a network rule is written to the daemon at once";

  // Nobody answers: the alert expires and passes the app for a while.
  EXPECT_EQ(verdict(send(*sleeper, "198.51.100.1", "22", "UDP")), " 0 # #") << agent.output();
  EXPECT_TRUE(agent.prints("] expired 0 # #")) << agent.output();

  say("alerts off\nstatus\n");
  EXPECT_TRUE(agent.prints("[status] alerts off")) << agent.output();
  agent.signal(SIGTERM);
  EXPECT_EQ(agent.wait(), 0) << agent.output();
}

TEST_F(AlertEndToEnd, AQuietBurstAsksOnceAndAnAppPassedUntilLogoutIsUnknownAfterARestart) {
  alertsOn(20.0);
  const auto sleeper = startSleeper();
  Child tail({"/usr/bin/tail", "-f", "/dev/null"}, {}, "/dev/null");
  {
    Agent agent(root, {}, answers);
    ASSERT_TRUE(recorder.waitFor("startAgent")) << agent.output();
    auto line = send(*sleeper, "192.0.2.1");
    ASSERT_TRUE(agent.prints(" 192.0.2.1 on port ")) << agent.output();
    say("pass address quiet 61\n");
    EXPECT_TRUE(agent.prints("the quiet time is 1 to 60 seconds; the alert stays open")) << agent.output();
    say("pass address quiet 30\n");
    EXPECT_EQ(verdict(line), " 4 0 0");
    for (const char* address : {"192.0.2.2", "192.0.2.3", "192.0.2.4"})
      EXPECT_EQ(verdict(send(*sleeper, address)), " 4 0 0") << address;
    ASSERT_TRUE(agent.prints("] answered")) << agent.output();
    const auto output = agent.output();
    EXPECT_EQ(output.find("] answered"), output.rfind("] answered")) << "one alert: " << output;

    line = send(tail, "198.51.100.1");
    ASSERT_TRUE(agent.prints(" 198.51.100.1 on port ")) << agent.output();
    say("pass app login\n");
    EXPECT_EQ(verdict(line), " 0 # #");
    EXPECT_EQ(verdict(send(tail, "198.51.100.2")), " 0 # #") << "the rule holds while the agent runs";
    agent.signal(SIGTERM);
    EXPECT_EQ(agent.wait(), 0) << agent.output();
  }

  // The daemon stores the configuration the quit handed it.
  ASSERT_TRUE(recorder.waitFor("writeHalvexConfiguration"));
  LinuxFileSystem files;
  standin::DaemonConfiguration daemonFiles(files, root.paths().confPath());
  for (const auto& notification : recorder.all()) daemonFiles.handle(notification);
  const auto stored = readSnapshot(readFile(root.paths().confPath()));
  ASSERT_TRUE(std::holds_alternative<SnapshotContents>(stored));
  std::map<std::string, std::vector<std::string>> apps;
  for (const auto& app : std::get<SnapshotContents>(stored).apps) apps[app.appPath] = app.appMatches;
  const auto sleep = std::filesystem::read_symlink("/proc/" + std::to_string(sleeper->pid()) + "/exe").string();
  EXPECT_EQ(apps, (std::map<std::string, std::vector<std::string>>{
                      {sleep, {"@192.0.2.1", "@192.0.2.2", "@192.0.2.3", "@192.0.2.4"}}}))
      << "the quiet time's addresses stay as rules; the app passed until logout is not saved";

  Agent second(root, {}, answers);
  ASSERT_TRUE(waitUntil([&] { return recorder.count("startAgent") == 2; })) << second.output();
  EXPECT_EQ(verdict(send(*sleeper, "192.0.2.3")), " 4 0 0");
  const auto line = send(tail, "198.51.100.1");
  ASSERT_TRUE(second.prints(" 198.51.100.1 on port ")) << second.output();
  say("block\n");
  EXPECT_EQ(verdict(line), " 1 # #");
  second.signal(SIGTERM);
  EXPECT_EQ(second.wait(), 0) << second.output();
}

}  // namespace
