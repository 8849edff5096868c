// The connection log in the real agent: records through its event socket become rows and file
// lines, a process that has gone keeps the daemon's path only when it was blocked, a connection
// line that another bus client sends is dropped (even one that would end the agent), and the switch
// asks the daemon to start and stop reporting.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "configuration/ConfigurationSnapshot.h"
#include "e2e/Harness.h"
#include "platform/linux/DbusNotificationCenter.h"
#include "runtime/PlistIO.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

using plist::Value;

void loggingOn(const TempRoot& root) {
  const plist::Array records{Value(plist::Dictionary{{"HalvexClassName", Value("HXPreferences")},
                                                     {"enableNotifications", Value(false)},
                                                     {"automaticXPC", Value(true)},
                                                     {"activateLogging", Value(true)},
                                                     {"loggaSuFile", Value(true)}})};
  const std::string conf = root.paths().confPath();
  std::filesystem::create_directories(std::filesystem::path(conf).parent_path());
  std::ofstream(conf) << plist::toXml(Value(plist::Array{Value(encodedConfiguration(records, "log"))}));
}

bool sendRecord(const std::string& socketPath, const std::string& line) {
  char record[156] = {};
  const std::int32_t code = 4242;
  std::memcpy(record + 20, &code, sizeof code);
  std::memcpy(record + 24, line.data(), std::min<std::size_t>(line.size(), 127));
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  std::strncpy(to.sun_path, socketPath.c_str(), sizeof to.sun_path - 1);
  const bool sent = ::sendto(fd, record, sizeof record, 0, reinterpret_cast<sockaddr*>(&to), sizeof to) == 156;
  ::close(fd);
  return sent;
}

std::size_t occurrences(const std::string& text, const std::string& piece) {
  std::size_t n = 0;
  for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; at += piece.size()) ++n;
  return n;
}

}  // namespace

TEST(ConnectionLogEndToEnd, RecordsBecomeRowsAndFileLinesAndOnlyTheAgentsOwnLinesAreRead) {
  TempRoot root;
  loggingOn(root);
  const std::string input = root.path() + "/console";
  ASSERT_EQ(::mkfifo(input.c_str(), 0600), 0);
  const int console = ::open(input.c_str(), O_RDWR);
  ASSERT_GE(console, 0);
  const auto say = [&](const std::string& text) {
    ASSERT_EQ(::write(console, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  };

  NotificationRecorder recorder;
  Agent agent(root, {}, input);
  // Logging is on in the configuration: the daemon is asked to report.
  ASSERT_TRUE(recorder.waitFor("loadKext")) << agent.output() << root.readLog();
  const std::string events = root.paths().kernelEventSocket();
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(events); })) << agent.output();
  struct stat info {};
  ASSERT_EQ(::stat(events.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);

  auto living = startSleeper();
  Child ended({"true"}, {}, "/dev/null");
  ASSERT_EQ(ended.wait(), 0);
  const std::string alive = std::to_string(living->pid()), gone = std::to_string(ended.pid());

  // Another bus client's lines are dropped before they are read: this one, taken, would end the
  // agent (fewer than four fields), and the other would add a row.
  {
    AgentLoop loop;
    LineLogger logger("intruder", 0);
    DbusNotificationCenter intruder(loop, logger);
    ASSERT_TRUE(intruder.connected());
    for (const std::string& line : {std::string("0 192.0.2.66"), "0 192.0.2.99 443 " + alive + " 6 0"})
      intruder.postNotificationName("halvexconnections", "it.dovik.halvexconnections",
                                    plist::Dictionary{{"connections", Value(line)}});
  }
  ASSERT_TRUE(waitUntil([&] { return occurrences(root.readLog(), "halvexconnections from") == 1; })) << root.readLog();

  for (const std::string& line :
       {"0 192.0.2.10 443 " + alive + " 6 0", "0 192.0.2.11 80 " + alive + " 6 0 /ignored/while/alive",
        "0 192.0.2.12 22 " + gone + " 6 0 /opt/gone app/bin/tool", "0 192.0.2.13 53 " + gone + " 17 0"})
    ASSERT_TRUE(sendRecord(events, line));
  ASSERT_TRUE(waitUntil([&] { return occurrences(root.readLog(), "[CONN] #") == 4; })) << root.readLog();
  const std::string log = root.readLog();
  EXPECT_NE(log.find("# #PASS# PROC:#sleep### PID:#" + alive + "# UID:#"), std::string::npos) << log;
  EXPECT_NE(log.find("# #BLOCK# PROC:#sleep###"), std::string::npos) << log;
  EXPECT_NE(
      log.find("# #BLOCK# PROC:#tool### PID:#" + gone + "# UID:#-1# PATH:#/opt/gone app/bin/tool# ADDR:#192.0.2.12#22"),
      std::string::npos)
      << log;
  EXPECT_NE(log.find("# #PASS# PROC:#error### PID:#" + gone + "# UID:#-1# PATH:#error# ADDR:#192.0.2.13#53"),
            std::string::npos)
      << log;

  // Three rows: the passed connection of the process that has gone has only its file line.
  say("log\n");
  ASSERT_TRUE(agent.prints("[log] 3 rows")) << agent.output();
  const std::string out = agent.output();
  // Rows come in the order their building ends, which runs on a concurrent queue.
  const auto row = [&](const std::string& address) {
    const auto at = out.find("| " + address + " |");
    if (at == std::string::npos) return std::string("no row");
    const auto start = out.rfind('\n', at) + 1;
    return out.substr(start, out.find('\n', at) - start);
  };
  EXPECT_EQ(row("192.0.2.10").rfind("[log] PASS ", 0), 0u) << out;
  EXPECT_NE(row("192.0.2.10").find("| sleep | 192.0.2.10 | 443 | "), std::string::npos) << out;
  EXPECT_EQ(row("192.0.2.11").rfind("[log] BLOCK ", 0), 0u) << out;
  EXPECT_NE(row("192.0.2.11").find("| sleep | 192.0.2.11 | 80 | "), std::string::npos) << out;
  EXPECT_NE(row("192.0.2.12").find("| tool | 192.0.2.12 | 22 | -1 | " + gone + " | "), std::string::npos) << out;
  EXPECT_EQ(out.find("192.0.2.99"), std::string::npos) << out;

  say("logging off\n");
  EXPECT_TRUE(recorder.waitFor("unloadKext")) << agent.output();
  EXPECT_TRUE(agent.running());
  ::close(console);
}
