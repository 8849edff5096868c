#include <gtest/gtest.h>

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "e2e/Harness.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

class AgentEndToEnd : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { bus_ = new PrivateBus(); }
  static void TearDownTestSuite() {
    delete bus_;
    bus_ = nullptr;
  }

  std::string line(const std::string& token, pid_t pid) {
    return token + " 192.0.2.7 443 " + std::to_string(pid) + " TCP 4 0";
  }

  static PrivateBus* bus_;
};

PrivateBus* AgentEndToEnd::bus_ = nullptr;

}  // namespace

TEST_F(AgentEndToEnd, AnnouncesItselfAndAnswersRequestsAboutRealProcesses) {
  TempRoot root;
  NotificationRecorder recorder;
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  Agent agent(root);
  ASSERT_TRUE(recorder.waitFor("startAgent")) << agent.output();
  // startKext comes first of all; startAgent once the reader is scheduled, after the rules went out.
  const auto all = recorder.all();
  ASSERT_GE(all.size(), 2u);
  EXPECT_EQ(all.front().name, "startKext");
  EXPECT_EQ(all.front().object, "it.halvex.start");
  ASSERT_TRUE(all.front().userInfo.has_value()) << "startKext carries an empty dictionary";
  EXPECT_TRUE(all.front().userInfo->empty());
  const auto startAgent = std::find_if(all.begin(), all.end(), [](const auto& n) { return n.name == "startAgent"; });
  ASSERT_NE(startAgent, all.end());
  EXPECT_EQ(startAgent->object, "it.dovik.startagent");
  EXPECT_FALSE(startAgent->userInfo.has_value()) << "startAgent carries none";
  const auto rules = std::find_if(all.begin(), all.end(), [](const auto& n) { return n.name == "newAppListReceived"; });
  EXPECT_LT(rules - all.begin(), startAgent - all.begin()) << "the rules reach the daemon before the reader opens";

  auto sleeper = startSleeper();
  auto gone = startSleeper();
  const pid_t gonePid = gone->pid();
  gone.reset();  // killed and reaped: its pid names no process now

  auto results = daemon.exchange({line("1", sleeper->pid()), line("2", gonePid), line("3", ::getpid())}, 3, 5000ms);
  ASSERT_TRUE(results[0].reply && results[1].reply && results[2].reply) << agent.output();
  EXPECT_EQ(*results[0].reply, line("1", sleeper->pid()) + " 0 # #");
  EXPECT_EQ(*results[1].reply, line("2", gonePid) + " 0 # #");
  EXPECT_EQ(*results[2].reply, line("3", ::getpid()) + " 0 # #");

  agent.process().signal(SIGTERM);
  EXPECT_EQ(agent.process().wait(), 0);
  EXPECT_NE(root.readLog().find("[HALVEX AGENT] starting"), std::string::npos) << "the log goes to the per-user file";
}

TEST_F(AgentEndToEnd, TheAgentDerivesPathAndUserOfTheAskingProcess) {
  TempRoot root;
  // The debug flag file makes the intake print what it derived.
  std::filesystem::create_directories(root.path() + "/tmp");
  std::ofstream(root.path() + "/tmp/halvexdebug").put('\n');
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  Agent agent(root);
  ASSERT_TRUE(agent.waitForSocket());
  std::this_thread::sleep_for(200ms);
  auto sleeper = startSleeper();
  const std::string exe = std::filesystem::canonical("/bin/sleep");
  auto results = daemon.exchange({line("1", sleeper->pid())}, 1, 5000ms);
  ASSERT_TRUE(results[0].reply) << agent.output();
  agent.process().signal(SIGTERM);
  agent.process().wait();
  const std::string expected = "pid " + std::to_string(sleeper->pid()) + " path " + exe + " uid " +
                               std::to_string(::getuid());
  EXPECT_NE(agent.output().find(expected), std::string::npos) << agent.output();
}

TEST_F(AgentEndToEnd, MalformedDatagramsAreDroppedAndTheAgentGoesOn) {
  TempRoot root;
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  Agent agent(root);
  ASSERT_TRUE(agent.waitForSocket());
  std::this_thread::sleep_for(100ms);
  auto sleeper = startSleeper();
  const std::string pid = std::to_string(sleeper->pid());
  for (const std::string& bad : std::vector<std::string>{
           std::string(128, 'x'),                                   // no NUL at all
           "1 192.0.2.1 443 " + pid + " TCP 4",                      // six fields
           "1 192.0.2.1 443 " + pid + " TCP 4 0 8",                  // eight fields
           std::string("\x01\x02 \xff\xfe", 6) + std::string(122, '\x7f'),  // binary
           "1 192.0.2.1 443 notapid TCP 4 0"}) {                     // a pid that is no number
    if (bad.size() == 128) {
      daemon.sendRaw(bad);
    } else {
      daemon.sendLine(bad);
    }
  }
  auto results = daemon.exchange({line("9", sleeper->pid())}, 1, 5000ms);
  ASSERT_TRUE(results[0].reply) << agent.output();
  EXPECT_EQ(*results[0].reply, line("9", sleeper->pid()) + " 0 # #");
  // The pid that is no number was answered before, as a process that is not there; nothing else.
  auto extra = daemon.receive(200ms);
  EXPECT_FALSE(extra.has_value()) << *extra;
  EXPECT_TRUE(agent.process().running());
}

TEST_F(AgentEndToEnd, PlainQuitLeavesTheFilterRunningAlternateQuitStopsIt) {
  TempRoot root;
  NotificationRecorder recorder;
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  {
    Agent agent(root);
    ASSERT_TRUE(recorder.waitFor("startAgent"));
    agent.process().signal(SIGINT);
    EXPECT_EQ(agent.process().wait(), 0);
    std::this_thread::sleep_for(200ms);
    const auto names = recorder.names();
    EXPECT_EQ(std::count(names.begin(), names.end(), "stopKext"), 0);
  }
  {
    // The socket file of the first run is still there: the next start removes it.
    ASSERT_TRUE(standin::waitForFile(root.paths().agentSocket(), 10ms));
    Agent agent(root);
    ASSERT_TRUE(recorder.waitFor("stopKext", 10ms) == false);
    std::this_thread::sleep_for(300ms);
    auto sleeper = startSleeper();
    auto results = daemon.exchange({line("1", sleeper->pid())}, 1, 5000ms);
    ASSERT_TRUE(results[0].reply) << agent.output();
    agent.process().signal(SIGUSR1);
    EXPECT_EQ(agent.process().wait(), 0);
    EXPECT_TRUE(recorder.waitFor("stopKext"));
    for (const auto& n : recorder.all()) {
      if (n.name == "stopKext") {
        EXPECT_EQ(n.object, "it.halvex.stop");
      }
    }
  }
}

TEST_F(AgentEndToEnd, ASecondInstanceIsRefusedAndTheFirstGoesOn) {
  TempRoot root;
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  Agent first(root);
  ASSERT_TRUE(first.waitForSocket());
  std::this_thread::sleep_for(200ms);
  Agent second(root);
  EXPECT_EQ(second.process().wait(), 0);
  EXPECT_NE(second.output().find("Halvex Agent is already running. Click 'OK' to close this alert."),
            std::string::npos)
      << second.output();

  auto sleeper = startSleeper();
  auto results = daemon.exchange({line("1", sleeper->pid())}, 1, 5000ms);
  EXPECT_TRUE(results[0].reply) << "the first instance still answers";
  EXPECT_TRUE(first.process().running());
}

TEST_F(AgentEndToEnd, WithoutTheInstallationsSocketFolderTheAgentEndsWithStatusOne) {
  TempRoot root(false);
  Agent agent(root);
  EXPECT_EQ(agent.process().wait(), 1);
  EXPECT_NE(root.readLog().find("bind: No such file or directory"), std::string::npos) << root.readLog();
}

// A bus that takes the connection and never says a word: the agent gives up on notifications and
// serves requests. The bus library alone would wait its handshake out (a minute and a half), past
// the socket wait below.
TEST_F(AgentEndToEnd, ABusThatNeverAnswersDoesNotHoldTheStart) {
  TempRoot root;
  const std::string busPath = root.path() + "/silent-bus";
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", busPath.c_str());
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(::listen(listener, 8), 0);  // the kernel accepts on its behalf; nothing ever reads

  Agent agent(root, {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + busPath}});
  ASSERT_TRUE(agent.waitForSocket(30000ms)) << root.readLog();
  std::this_thread::sleep_for(100ms);
  auto sleeper = startSleeper();
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  auto results = daemon.exchange({line("3", sleeper->pid())}, 1, 5000ms);
  EXPECT_TRUE(results[0].reply) << agent.output();
  EXPECT_NE(agent.output().find("no notification bus"), std::string::npos) << agent.output();
  ::close(listener);
}

TEST_F(AgentEndToEnd, ADaemonThatIsDownCostsOnlyTheReply) {
  TempRoot root;
  Agent agent(root);
  ASSERT_TRUE(agent.waitForSocket());
  std::this_thread::sleep_for(200ms);
  auto sleeper = startSleeper();
  {
    // A daemon that sends and then goes away before the reply.
    standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
    daemon.sendLine("hold " + line("1", sleeper->pid()).substr(2));
  }
  std::this_thread::sleep_for(300ms);
  EXPECT_TRUE(agent.process().running());
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  auto results = daemon.exchange({line("2", sleeper->pid())}, 1, 5000ms);
  EXPECT_TRUE(results[0].reply) << "the daemon's return needs no step on the agent's side";
  agent.process().signal(SIGTERM);
  agent.process().wait();
  EXPECT_NE(agent.output().find("esploso demone o chiuso ?: "), std::string::npos) << agent.output();
}
