#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <thread>

#include "e2e/Harness.h"
#include "link/BridgeClassHalvex.h"
#include "link/Socketcon.h"
#include "platform/linux/DbusNotificationCenter.h"
#include "platform/linux/LinuxUnixDatagramSockets.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

// The connection lines heard on the bus.
struct HeardLines {
  std::vector<std::string> get() {
    std::lock_guard lock(mutex);
    return lines;
  }
  void add(const DistributedNotification& n) {
    const auto* value = n.userInfo ? n.userInfo->find("connections") : nullptr;
    std::lock_guard lock(mutex);
    lines.push_back(value && value->asString() ? *value->asString() : "<none>");
  }
  std::mutex mutex;
  std::vector<std::string> lines;
};

TEST(EventStreamEndToEnd, TheStandInFeedsTheAgentsReaderOnlyOnceTheLoggerIsLoaded) {
  TempRoot root;
  const Paths paths = root.paths();
  HeardLines heard;
  // The agent's reader over the real socket, posting on the private bus.
  AgentLoop loop;
  std::thread loopThread([&] { loop.run(); });
  LineLogger logger("halvex", 1, stderr, stdout);
  {
    DbusNotificationCenter center(loop, logger);
    center.addObserver("halvexconnections", "it.dovik.halvexconnections",
                       [&](const DistributedNotification& n) { heard.add(n); });
    SerialQueue queue("SynchronizedNotification");
    BridgeClassHalvex bridge(
        queue, [](const std::string&) {}, center);
    LinuxUnixDatagramSockets sockets;
    Socketcon socketcon(sockets, logger, bridge, paths.kernelEventSocket());
    std::atomic<bool> readerEnded{false};
    std::thread reader([&] {
      socketcon.buildsocketcon();
      readerEnded = true;
    });

    const auto sleeper = startSleeper();
    const std::string pid = std::to_string(sleeper->pid());
    const std::string longLine = "0 192.0.2.9 80 " + pid + " 0 0 /" + std::string(150, 'p');
    Child standin({HALVEX_STANDIN_BIN, "--root", root.path(), "--pid", pid, "--listen", "0.1", "--event",
                   "0 192.0.2.1 443 {pid} 0 0", "--event", longLine, "--generate-events", "2", "--empty-event"},
                  {}, root.path() + "/standin.out");
    ASSERT_TRUE(standin.prints("ready"));
    // Unloaded, the logger writes nothing.
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(standin.output().find("event "), std::string::npos);
    center.postNotificationName("loadKext", "it.dovik.halvexconnkext", plist::Dictionary{{"kextPath", ""}});
    EXPECT_EQ(standin.wait(), 0) << standin.output();
    EXPECT_NE(standin.output().find("logger loaded\n"), std::string::npos);
    EXPECT_NE(standin.output().find("summary events=5 sent=5\n"), std::string::npos) << standin.output();

    // The empty datagram ended the reader; the four records before it were posted as they came.
    EXPECT_TRUE(waitUntil([&] { return readerEnded.load(); }));
    socketcon.closesocketcon();
    reader.join();
    EXPECT_TRUE(waitUntil([&] { return heard.get().size() >= 4; }));
    const auto lines = heard.get();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "0 192.0.2.1 443 " + pid + " 0 0");
    EXPECT_EQ(lines[1], longLine.substr(0, 127));
    // Generated: passed, then blocked with the process's path as its seventh field.
    EXPECT_EQ(lines[2], "0 198.51.100.1 53 " + pid + " 0 0");
    EXPECT_EQ(lines[3],
              "0 198.51.100.2 443 " + pid + " 0 0 " + std::filesystem::read_symlink("/proc/" + pid + "/exe").string());
  }
  loop.quit();
  loopThread.join();
}

}  // namespace
