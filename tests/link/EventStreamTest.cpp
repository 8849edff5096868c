#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>

#include "fakes/World.h"
#include "link/ConnectionEvents.h"
#include "platform/linux/LinuxUnixDatagramSockets.h"

using namespace halvex;
using namespace halvex::test;
using namespace std::chrono_literals;

namespace {

constexpr const char* kEventPath = "/r/var/run/halvex/agent/.it.dovik.halvex.events";

// A record as the logger writes it: the five leading words and the four trailing bytes hold
// something (the reader must ignore them), `code` at offset 20, the line NUL-padded at 24.
std::string record(std::string_view line, std::uint32_t code = 4242, std::size_t length = 156) {
  std::string r(156, '\0');
  for (std::size_t i = 0; i < 20; ++i) r[i] = static_cast<char>(0xA0 + i);
  std::memcpy(r.data() + 20, &code, sizeof code);
  line.copy(r.data() + 24, std::min<std::size_t>(line.size(), 128));
  for (std::size_t i = 152; i < 156; ++i) r[i] = '\xEE';
  r.resize(length);
  return r;
}

// The lines posted as connections so far, after checking that each post has the one form.
std::vector<std::string> postedLines(const FakeDistributedCenter& center) {
  std::vector<std::string> lines;
  for (const auto& n : center.posted("halvexconnections")) {
    EXPECT_EQ(n.object, "it.dovik.halvexconnections");
    EXPECT_TRUE(n.userInfo && n.userInfo->size() == 1);
    const auto* value = n.userInfo ? n.userInfo->find("connections") : nullptr;
    lines.push_back(value && value->asString() ? *value->asString() : "<no connections key>");
  }
  return lines;
}

// True once the blocks queued on `queue` so far have run (the reader among them), within a bound.
bool drained(SerialQueue& queue) {
  auto done = std::make_shared<std::promise<void>>();
  auto finished = done->get_future();
  queue.async([done] { done->set_value(); });
  return finished.wait_for(5s) == std::future_status::ready;
}

TEST(ConnectionRecord, LineIsTheTextFieldUpToItsFirstNulForEveryLengthAndOnlyWithCode4242) {
  const std::string full(128, 'x');
  for (std::size_t length = 0; length <= 200; ++length) {
    SCOPED_TRACE(length);
    std::string bytes = record(full);
    bytes.resize(length, '\x7F');  // past 156: bytes a receive of 156 would never hand over
    const auto line = connectionLineOfRecord(bytes.data(), bytes.size());
    if (length < 24) {
      EXPECT_FALSE(line);
    } else {
      ASSERT_TRUE(line);
      EXPECT_EQ(*line, std::string(std::min<std::size_t>(length - 24, 128), 'x'));
    }
    for (const std::uint32_t other : {0u, 4241u, 4243u, 0x92100000u})
      EXPECT_FALSE(connectionLineOfRecord(record(full, other).data(), length > 156 ? 156 : length));
  }
  // Any byte but NUL belongs to the line; the first NUL ends it.
  std::string binary;
  for (int c = 1; c < 128; ++c) binary.push_back(static_cast<char>(c + 128 * (c % 2)));
  EXPECT_EQ(connectionLineOfRecord(record(binary).data(), 156), binary);
  EXPECT_EQ(connectionLineOfRecord(record(std::string("0 a\0b", 5)).data(), 156), "0 a");
  EXPECT_EQ(connectionLineOfRecord(record("").data(), 156), "");
}

TEST(ConnectionRecord, FieldsSplitOnEverySingleBlankWithLineFeedsRemoved) {
  using Fields = std::vector<std::string>;
  EXPECT_EQ(connectionFields("0 192.0.2.1 443 77 0 0 /opt/my app/bin\n"),
            (Fields{"0", "192.0.2.1", "443", "77", "0", "0", "/opt/my", "app/bin"}));
  EXPECT_EQ(connectionFields("0  2001:db8::1\n443 "), (Fields{"0", "", "2001:db8::1443", ""}));
  EXPECT_EQ(connectionFields(""), Fields{""});
  EXPECT_EQ(connectionFields("\n\n"), Fields{""});
}

TEST(EventReader, PostsOneUnparsedNotificationPerGoodRecordUntilAnEmptyDatagram) {
  World world;
  const std::string blocked = "0 192.0.2.7 443 4242 0 0 /usr/bin/my tool";
  world.sockets.deliver(record("0 198.51.100.1 53 77 0 0\n"));
  world.sockets.deliver(record(blocked, 4241));               // another code: skipped
  world.sockets.deliver(record(blocked).substr(0, 23));       // too short to hold a code
  world.sockets.deliver(record(blocked, 4242, 40));           // cut short: the line as far as it came
  world.sockets.deliver(record(std::string(128, 'L')));       // no NUL: all 128 bytes
  world.sockets.deliver(record("1 not a connection  line"));  // the observer drops it, not the reader
  world.sockets.deliver(std::string());                       // ends the reader for good
  world.sockets.deliver(record("0 192.0.2.8 80 1 0 0"));
  world.agent.startReadConnection();
  world.agent.startReadConnection();
  ASSERT_TRUE(drained(world.agent.recvKextCon));
  EXPECT_EQ(postedLines(world.center), (std::vector<std::string>{"0 198.51.100.1 53 77 0 0\n", blocked.substr(0, 16),
                                                                 std::string(128, 'L'), "1 not a connection  line"}));
  // One socket, made private before it had a name; the request channel's socket untouched.
  EXPECT_EQ(world.sockets.calls,
            (std::vector<std::string>{"socket", "preset", std::string("unlink ") + kEventPath,
                                      std::string("bind ") + kEventPath, std::string("chmod ") + kEventPath}));
  EXPECT_EQ(world.sockets.presetModeSet, 0600u);
  EXPECT_EQ(world.sockets.modeSet, 0600u);
  EXPECT_EQ(world.logText(), "");
  // The reader has ended by itself; its socket stays open until the close, which has no reader to
  // wait for.
  world.agent.socketcon.closesocketcon();
  EXPECT_EQ(std::vector<std::string>(world.sockets.calls.end() - 2, world.sockets.calls.end()),
            (std::vector<std::string>{"shutdown", "close"}));
}

TEST(EventReader, FailedSocketOrBindLeavesOneLogLineAndNoReader) {
  for (const bool bindFails : {false, true}) {
    SCOPED_TRACE(bindFails);
    World world;
    (bindFails ? world.sockets.failBind : world.sockets.failSocket) = true;
    world.sockets.deliver(record("0 192.0.2.1 443 1 0 0"));
    EXPECT_EQ(world.agent.socketcon.buildsocketcon(), 0);  // returns at once: nothing reads
    EXPECT_TRUE(world.center.posted().empty());
    const std::string log = world.logText();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
    EXPECT_NE(log.find(bindFails ? "bind /r/var/run/halvex/agent/.it.dovik.halvex.events: No such file"
                                 : "socket: Too many open files"),
              std::string::npos)
        << log;
    // A socket that could not be bound is closed; nothing is left to shut down later.
    EXPECT_EQ(world.sockets.calls.back(), bindFails ? "close" : "socket");
    const auto before = world.sockets.calls.size();
    world.agent.socketcon.closesocketcon();
    EXPECT_EQ(world.sockets.calls.size(), before);
    EXPECT_EQ(world.printed(), "");
  }
}

TEST(EventReader, CloseEndsABlockedReaderAndPrintsTheStepThatFailed) {
  {
    // Nothing comes: the reader waits until the close, which closes only after the reader left.
    World world;
    auto reader = std::async(std::launch::async, [&] { return world.agent.socketcon.buildsocketcon(); });
    ASSERT_TRUE(world.sockets.waitForBlockedReceive());
    world.agent.socketcon.closesocketcon();
    ASSERT_EQ(reader.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(reader.get(), 0);
    EXPECT_EQ(std::vector<std::string>(world.sockets.calls.end() - 2, world.sockets.calls.end()),
              (std::vector<std::string>{"shutdown", "close"}));
    EXPECT_EQ(world.printed(), "");
  }
  struct Case {
    int shutdownError;
    bool closeFails;
    std::string printed, lastCall;
  };
  for (const auto& c : {Case{111, false, "shutdown", "shutdown"}, Case{FakeSockets::kNotConnected, false, "", "close"},
                        Case{0, true, "close", "close"}}) {
    SCOPED_TRACE(c.printed);
    World world;
    world.sockets.shutdownError = c.shutdownError;
    world.sockets.failClose = c.closeFails;
    world.agent.startReadConnection();
    ASSERT_TRUE(world.sockets.waitForBlockedReceive());
    world.agent.socketcon.closesocketcon();
    EXPECT_EQ(world.printed(), c.printed);
    EXPECT_EQ(world.sockets.calls.back(), c.lastCall);
    world.sockets.deliver();  // a failed shutdown left the reader waiting
  }
  // Closed before it was built: the reader never opens a socket.
  World world;
  world.agent.socketcon.closesocketcon();
  world.agent.startReadConnection();
  ASSERT_TRUE(drained(world.agent.recvKextCon));
  EXPECT_TRUE(world.sockets.calls.empty());
}

TEST(EventReader, OnLinuxTheSocketIsBornPrivateReplacesAStaleFileAndEndsWithTheClose) {
  const auto dir = std::filesystem::temp_directory_path() / ("halvex-events-" + std::to_string(::getpid()));
  const std::string path = (dir / ".it.dovik.halvex.events").string();
  std::filesystem::create_directories(dir);
  std::ofstream(path) << "stale";
  LinuxUnixDatagramSockets sockets;
  // The mode given before the bind holds from the file's creation, whatever the umask.
  int error = 0;
  const int probe = sockets.openSocket(error);
  const mode_t umask = ::umask(0);
  EXPECT_TRUE(sockets.presetMode(probe, 0600));
  EXPECT_TRUE(sockets.bindPath(probe, (dir / "probe").string(), error));
  ::umask(umask);
  struct stat st {};
  EXPECT_EQ(::stat((dir / "probe").c_str(), &st) == 0 ? st.st_mode & 07777 : 0, 0600u);
  EXPECT_TRUE(sockets.shutdownSocket(probe, error) && sockets.closeSocket(probe));

  ManualLoop loop;
  FakeDistributedCenter center{loop};
  SerialQueue queue{"SynchronizedNotification"};
  BridgeClassHalvex bridge{queue, [](const std::string&) {}, center};
  LineLogger logger{"halvex", 1, stderr, stderr};
  Socketcon socketcon{sockets, logger, bridge, path};
  auto reader = std::async(std::launch::async, [&] { return socketcon.buildsocketcon(); });
  const int client = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  auto send = [&](const std::string& bytes) {
    return ::sendto(client, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                    sizeof address) == static_cast<ssize_t>(bytes.size());
  };
  for (int i = 0; i < 500 && !send(record("0 192.0.2.1 443 1 0 0 /usr/bin/x") + "past the record"); ++i)
    std::this_thread::sleep_for(2ms);
  for (int i = 0; i < 500 && center.posted().empty(); ++i) std::this_thread::sleep_for(2ms);
  EXPECT_EQ(postedLines(center), std::vector<std::string>{"0 192.0.2.1 443 1 0 0 /usr/bin/x"});
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0600u);

  // Blocked in its receive, the reader ends with the close, and nothing reads the socket after it.
  EXPECT_EQ(reader.wait_for(20ms), std::future_status::timeout);
  socketcon.closesocketcon();
  ASSERT_EQ(reader.wait_for(5s), std::future_status::ready);
  EXPECT_FALSE(send(record("0 192.0.2.3 443 1 0 0")));
  ::close(client);
  std::filesystem::remove_all(dir);
}

}  // namespace
