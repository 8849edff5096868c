// Answers that do not hold for ever, in the real agent over real sockets: a quiet time answers a
// burst of new addresses after one alert, and an app passed until logout is gone after a restart.

#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <map>

#include "configuration/ConfigurationSnapshot.h"
#include "e2e/Harness.h"
#include "platform/linux/LinuxFileSystem.h"
#include "standin/DaemonConfiguration.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

std::size_t count(const std::string& text, const std::string& needle) {
  std::size_t n = 0;
  for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

bool printed(Child& agent, const std::string& text) {
  return waitUntil([&] { return agent.output().find(text) != std::string::npos; });
}

std::string executable(const Child& process) {
  return std::filesystem::read_symlink("/proc/" + std::to_string(process.pid()) + "/exe").string();
}

}  // namespace

TEST(TimedRulesEndToEnd, AQuietBurstAsksOnceAndAnAppPassedUntilLogoutIsUnknownAfterARestart) {
  TempRoot root;
  writeAlertsOnConfiguration(root, 20.0);
  AnswerPipe answers(root);
  NotificationRecorder recorder;
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  const auto sleeper = startSleeper();
  Child tail({"/usr/bin/tail", "-f", "/dev/null"}, {}, "/dev/null");
  int tag = 0;
  const auto send = [&](const Child& asker, const std::string& address) {
    const std::string line = std::to_string(++tag) + " " + address + " 443 " + std::to_string(asker.pid()) + " TCP 4 0";
    EXPECT_TRUE(daemon.sendLine(line));
    return line;
  };
  const auto verdict = [&](const std::string& line) -> std::string {
    const auto reply = daemon.receive(10000ms);
    if (!reply) return "no reply";
    return reply->rfind(line, 0) == 0 ? reply->substr(line.size()) : "a reply to another request: " + *reply;
  };

  {
    Agent agent(root, {}, answers.path());
    ASSERT_TRUE(recorder.waitFor("startAgent")) << agent.output();
    auto line = send(*sleeper, "192.0.2.1");
    ASSERT_TRUE(printed(agent, " 192.0.2.1 on port ")) << agent.output();
    answers.say("pass address quiet 61\n");
    EXPECT_TRUE(printed(agent, "the quiet time is 1 to 60 seconds; the alert stays open")) << agent.output();
    answers.say("pass address quiet 30\n");
    EXPECT_EQ(verdict(line), " 4 0 0");
    for (const char* address : {"192.0.2.2", "192.0.2.3", "192.0.2.4"}) {
      line = send(*sleeper, address);
      EXPECT_EQ(verdict(line), " 4 0 0") << address;
    }
    EXPECT_EQ(count(agent.output(), "] answered"), 1u) << agent.output();

    line = send(tail, "198.51.100.1");
    ASSERT_TRUE(printed(agent, " 198.51.100.1 on port ")) << agent.output();
    answers.say("pass app login\n");
    EXPECT_EQ(verdict(line), " 0 # #");
    line = send(tail, "198.51.100.2");
    EXPECT_EQ(verdict(line), " 0 # #") << "the rule holds while the agent runs";
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
  EXPECT_EQ(apps, (std::map<std::string, std::vector<std::string>>{
                      {executable(*sleeper), {"@192.0.2.1", "@192.0.2.2", "@192.0.2.3", "@192.0.2.4"}}}))
      << "the quiet time's addresses stay as rules; the app passed until logout is not saved";

  Agent second(root, {}, answers.path());
  ASSERT_TRUE(waitUntil([&] { return recorder.count("startAgent") == 2; })) << second.output();
  auto line = send(*sleeper, "192.0.2.3");
  EXPECT_EQ(verdict(line), " 4 0 0");
  line = send(tail, "198.51.100.1");
  ASSERT_TRUE(printed(second, " 198.51.100.1 on port ")) << second.output();
  answers.say("block\n");
  EXPECT_EQ(verdict(line), " 1 # #");
  second.signal(SIGTERM);
  EXPECT_EQ(second.wait(), 0) << second.output();
}
