// The facts the agent finds are live in the real binary: the country zones load at start, off the
// main loop; whois goes through the command runner (a stand-in `whois` in the test's root, so
// nothing leaves the machine); host names through the resolver; the console user through the process
// owners; and with signature inspection on, a learnt app carries its package's facts.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "e2e/Harness.h"
#include "runtime/PlistIO.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

void writeText(const std::string& path, const std::string& text, std::filesystem::perms perms = {}) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << text;
  if (perms != std::filesystem::perms{}) std::filesystem::permissions(path, perms);
}

}  // namespace

TEST(LiveSubsystemsEndToEnd, ZonesWhoisHostNamesOwnersAndSignaturesRunInTheRealAgent) {
  TempRoot root;
  namespace fs = std::filesystem;
  fs::create_directories(root.path() + "/var/lib/halvex/nations");
  fs::copy(HALVEX_TEST_DATA "/nations/aggregated", root.path() + "/var/lib/halvex/nations/aggregated",
           fs::copy_options::recursive);
  // The user's settings: signatures are inspected.
  plist::Dictionary defaults{{"verifySignatures", plist::Value(true)}};
  writeText(root.home() + "/.config/halvex/defaults.plist", plist::toXml(plist::Value(defaults)));
  // A whois that answers from here: the program's path is re-rooted like every system path.
  writeText(root.path() + "/usr/bin/whois", "#!/bin/sh\necho \"OrgName: Registry for $1\"\n",
            fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
  const std::string input = root.path() + "/console";
  ASSERT_EQ(::mkfifo(input.c_str(), 0600), 0);
  // Held open for writing first, so that the agent's open of its input does not wait.
  const int console = ::open(input.c_str(), O_RDWR);
  ASSERT_GE(console, 0);

  NotificationRecorder recorder;
  standin::DaemonPeer daemon(root.paths().daemonSocket(), root.paths().agentSocket());
  Agent agent(root, {}, input);
  ASSERT_TRUE(recorder.waitFor("startAgent")) << agent.output();

  // Alerts are off on a first run: the asking process is learnt, and inspected.
  auto sleeper = startSleeper();
  const std::string line = "1 192.0.2.7 443 " + std::to_string(sleeper->pid()) + " TCP 4 0";
  ASSERT_TRUE(daemon.exchange({line}, 1, 20000ms)[0].reply) << agent.output();

  // The zones load in the background: the question waits for them, as a person would.
  ASSERT_TRUE(waitUntil([&] { return root.readLog().find("country zones loaded") != std::string::npos; }, 60000ms))
      << root.readLog();
  const std::string sleep = fs::canonical("/bin/sleep").string();
  const std::string commands = "country 2.16.70.1\nhost 127.0.0.1\nwhois 192.0.2.1\nuser\nsignature " + sleep + "\n";
  ASSERT_EQ(::write(console, commands.data(), commands.size()), static_cast<ssize_t>(commands.size()));
  const auto answered = [&](const std::string& text) { return agent.prints(text, 60000ms); };
  EXPECT_TRUE(answered("[country 2.16.70.1] Italy")) << agent.output();
  EXPECT_TRUE(answered("[host 127.0.0.1] localhost")) << agent.output();
  EXPECT_TRUE(answered("[whois 192.0.2.1] OrgName: Registry for 192.0.2.1")) << agent.output();
  EXPECT_TRUE(answered("[user] ")) << agent.output();
  EXPECT_TRUE(answered("[signature " + sleep + "] valid signature")) << agent.output();
  EXPECT_TRUE(answered("[signature " + sleep + "] signed by ")) << agent.output();

  // The learnt app carries the facts of its package.
  const std::string apps = "apps\n";
  ASSERT_EQ(::write(console, apps.data(), apps.size()), static_cast<ssize_t>(apps.size()));
  EXPECT_TRUE(answered("[apps] 1 app")) << agent.output();
  EXPECT_TRUE(waitUntil(
      [&] {
        if (agent.output().find("[apps] " + sleep + " state 0 signed") != std::string::npos) return true;
        (void)::write(console, apps.data(), apps.size());  // the inspection may still run: ask again
        std::this_thread::sleep_for(500ms);
        return false;
      },
      60000ms))
      << agent.output();
  EXPECT_NE(root.readLog().find("[HALVEX AGENT] country zones loaded: "), std::string::npos) << root.readLog();

  agent.signal(SIGTERM);
  EXPECT_EQ(agent.wait(), 0);
  ::close(console);
}
