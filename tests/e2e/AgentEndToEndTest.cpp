#include <gtest/gtest.h>

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>

#include "e2e/Harness.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

std::string line(const std::string& token, pid_t pid) {
  return token + " 192.0.2.7 443 " + std::to_string(pid) + " TCP 4 0";
}

}  // namespace

// One agent lives through everything a running agent meets: its start in order, requests about
// live, ended and its own processes, bad datagrams, a second instance, and a daemon that goes
// away; a plain quit leaves the filter running, and a restart's alternate quit stops it.
TEST(AgentEndToEnd, AnAgentServesThroughBadInputASecondInstanceAndADaemonGoneAndQuitsBothWays) {
  TempRoot root;
  // The debug flag file makes the intake print what it derived.
  std::filesystem::create_directories(root.path() + "/tmp");
  std::ofstream(root.path() + "/tmp/halvexdebug").put('\n');
  NotificationRecorder recorder;
  std::optional<standin::DaemonPeer> daemon(std::in_place, root.paths().daemonSocket(), root.paths().agentSocket());
  Agent agent(root);
  ASSERT_TRUE(recorder.waitFor("startAgent")) << agent.output();
  // startKext comes first of all; startAgent once the reader is scheduled, after the rules went out.
  const auto all = recorder.all();
  EXPECT_EQ(all.front().name, "startKext");
  EXPECT_EQ(all.front().object, "it.halvex.start");
  EXPECT_EQ(all.front().userInfo, std::optional(plist::Dictionary{})) << "startKext carries an empty dictionary";
  const auto startAgent = std::ranges::find(all, "startAgent", &DistributedNotification::name);
  ASSERT_NE(startAgent, all.end());
  EXPECT_EQ(startAgent->object, "it.dovik.startagent");
  EXPECT_FALSE(startAgent->userInfo.has_value()) << "startAgent carries none";
  EXPECT_LT(std::ranges::find(all, "newAppListReceived", &DistributedNotification::name), startAgent)
      << "the rules reach the daemon before the reader opens";
  EXPECT_NE(root.readLog().find("[HALVEX AGENT] starting"), std::string::npos) << "the log goes to the per-user file";

  auto sleeper = startSleeper();
  const std::string pid = std::to_string(sleeper->pid());
  auto gone = startSleeper();
  const pid_t gonePid = gone->pid();
  gone.reset();  // killed and reaped: its pid names no process now
  auto results = daemon->exchange({line("1", sleeper->pid()), line("2", gonePid), line("3", ::getpid())}, 3, 5000ms);
  ASSERT_TRUE(results[0].reply && results[1].reply && results[2].reply) << agent.output();
  EXPECT_EQ(*results[0].reply, line("1", sleeper->pid()) + " 0 # #");
  EXPECT_EQ(*results[1].reply, line("2", gonePid) + " 0 # #");
  EXPECT_EQ(*results[2].reply, line("3", ::getpid()) + " 0 # #");

  // Malformed datagrams are dropped and the agent goes on.
  daemon->sendRaw(std::string(128, 'x'));                                           // no NUL at all
  daemon->sendLine("1 192.0.2.1 443 " + pid + " TCP 4");                            // six fields
  daemon->sendRaw(std::string("\x01\x02 \xff\xfe", 6) + std::string(122, '\x7f'));  // binary
  results = daemon->exchange({line("9", sleeper->pid())}, 1, 5000ms);
  ASSERT_TRUE(results[0].reply) << agent.output();
  EXPECT_EQ(*results[0].reply, line("9", sleeper->pid()) + " 0 # #");
  // Each line the intake drops (IntakeTest) gets no reply at all.
  const auto extra = daemon->receive(200ms);
  EXPECT_FALSE(extra.has_value()) << *extra;

  // A second instance is refused and the first goes on.
  {
    Agent second(root);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_NE(second.output().find("Halvex Agent is already running. Click 'OK' to close this alert."),
              std::string::npos)
        << second.output();
  }
  EXPECT_TRUE(daemon->exchange({line("4", sleeper->pid())}, 1, 5000ms)[0].reply) << "the first instance still answers";

  // A daemon gone before the reply costs only the reply. (The line is sent after the daemon went,
  // from a socket of its own, so that the reply cannot win the race.)
  daemon.reset();
  standin::DaemonPeer(root.path() + "/sender", root.paths().agentSocket())
      .sendLine("hold " + line("5", sleeper->pid()).substr(2));
  ASSERT_TRUE(agent.prints("esploso demone o chiuso ?: ")) << agent.output();
  ASSERT_TRUE(agent.running());
  daemon.emplace(root.paths().daemonSocket(), root.paths().agentSocket());
  EXPECT_TRUE(daemon->exchange({line("6", sleeper->pid())}, 1, 5000ms)[0].reply)
      << "the daemon's return needs no step on the agent's side";

  // A plain quit leaves the filter running.
  agent.signal(SIGINT);
  EXPECT_EQ(agent.wait(), 0);
  EXPECT_NE(agent.output().find("esploso demone o chiuso ?: "), std::string::npos) << agent.output();
  const std::string derived = "pid " + pid + " path " + std::filesystem::canonical("/bin/sleep").string() + " uid " +
                              std::to_string(::getuid());
  EXPECT_NE(agent.output().find(derived), std::string::npos) << agent.output();
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(recorder.count("stopKext"), 0u);

  // The socket file of the first run is still there: the next start removes it. Its alternate
  // quit stops the filter.
  ASSERT_TRUE(standin::waitForFile(root.paths().agentSocket(), 10ms));
  Agent restarted(root);
  // Asked until its new socket is in place: a datagram sent before that finds the stale one.
  EXPECT_TRUE(waitUntil([&] { return daemon->exchange({line("7", sleeper->pid())}, 1, 500ms)[0].reply.has_value(); }))
      << restarted.output();
  EXPECT_EQ(recorder.count("stopKext"), 0u);
  restarted.signal(SIGUSR1);
  EXPECT_EQ(restarted.wait(), 0);
  ASSERT_TRUE(recorder.waitFor("stopKext"));
  for (const auto& n : recorder.all()) EXPECT_TRUE(n.name != "stopKext" || n.object == "it.halvex.stop") << n.object;
}

TEST(AgentEndToEnd, WithoutTheInstallationsSocketFolderTheAgentEndsWithStatusOne) {
  TempRoot root(false);
  Agent agent(root);
  EXPECT_EQ(agent.wait(), 1);
  EXPECT_NE(root.readLog().find("bind: No such file or directory"), std::string::npos) << root.readLog();
}

// A bus that takes the connection and never says a word: the agent gives up on notifications and
// serves requests. The bus library alone would wait its handshake out (a minute and a half), past
// the socket wait below.
TEST(AgentEndToEnd, ABusThatNeverAnswersDoesNotHoldTheStart) {
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
  ASSERT_TRUE(standin::waitForFile(root.paths().agentSocket(), 30000ms)) << root.readLog();
  std::this_thread::sleep_for(100ms);
  auto sleeper = startSleeper();
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  auto results = daemon.exchange({line("3", sleeper->pid())}, 1, 5000ms);
  EXPECT_TRUE(results[0].reply) << agent.output();
  EXPECT_NE(agent.output().find("no notification bus"), std::string::npos) << agent.output();
  ::close(listener);
}
