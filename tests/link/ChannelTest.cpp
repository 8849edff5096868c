#include <gtest/gtest.h>

#include "link/ChannelWorld.h"

using namespace halvex;
using namespace halvex::test;

TEST(Channel, OpensInOrderWithTheAgreedBuffersAndMode) {
  ChannelWorld world;
  world.startReader();
  for (int i = 0; i < 500 && !world.channel.isOpen(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  ASSERT_TRUE(world.channel.isOpen());
  world.sockets.deliver();
  world.reader.join();
  const std::string agent = kAgentPath;
  EXPECT_EQ(world.sockets.calls, (std::vector<std::string>{"socket", "sndbuf 65535", "rcvbuf 65535", "unlink " + agent,
                                                           "bind " + agent, "chmod " + agent}));
  EXPECT_EQ(world.sockets.modeSet, 0777u);
}

TEST(Channel, SocketOrBindFailureEndsTheProcessButBufferSizeFailuresAreOnlyReported) {
  for (const bool bindFails : {false, true}) {
    ChannelWorld world;
    (bindFails ? world.sockets.failBind : world.sockets.failSocket) = true;
    try {
      world.channel.openandreadsocketagent();
      ADD_FAILURE() << "no exit";
    } catch (const ProcessExited& e) {
      EXPECT_EQ(e.status, 1);
    }
    EXPECT_FALSE(world.channel.isOpen());
    EXPECT_EQ(world.printed(), bindFails ? "" : "socket");
    EXPECT_EQ(world.logText().find("bind: No such file or directory") != std::string::npos, bindFails);
  }
  ChannelWorld world;
  world.sockets.failSendBuffer = true;
  world.sockets.failReceiveBuffer = true;
  world.sockets.deliver();
  world.channel.openandreadsocketagent();
  EXPECT_EQ(world.printed(), "Error setsockoptError setsockopt");
  EXPECT_EQ(world.sockets.calls.back(), std::string("chmod ") + kAgentPath);
}

TEST(Channel, DatagramTextEndsAtTheFirstNulOrAfterAllOfItsBytes) {
  ChannelWorld world;
  world.processes.add(300, "/usr/bin/curl", 501);
  // All 128 bytes used: the line is 128 characters long, a malformed request, dropped.
  world.sockets.deliver(std::string(128, 'x'));
  // The buffer is not cleared between datagrams: one without a NUL reads on into the last one.
  const std::string line = requestLine("7", 300);
  world.sockets.deliver(line + std::string(1, '\0'));
  world.sockets.deliver(std::string("8"));
  // An empty datagram ends the reader for good: what follows it is never read.
  world.sockets.deliver(std::string());
  world.sockets.deliver(datagram(requestLine("9", 300)));
  world.channel.openandreadsocketagent();
  world.settle(2);
  EXPECT_EQ(world.sockets.sentLines(), (std::vector<std::string>{line + " 0 # #", "8" + line.substr(1) + " 0 # #"}));
}

TEST(Channel, RepliesAreAlways128BytesAndErrorsArePrintedNotRetried) {
  ChannelWorld world;
  world.channel.sendsocketagent("a reply");
  world.channel.sendsocketagent(std::string(127, 'r'));
  // Zero-filled after the line: no stale bytes leave the process.
  EXPECT_EQ(world.sockets.sentDatagrams(),
            (std::vector<std::string>{datagram("a reply"), datagram(std::string(127, 'r'))}));
  // A reply that cannot fit is a programming error, not a truncation.
  EXPECT_THROW(world.channel.sendsocketagent(std::string(128, 'r')), ProcessAborted);

  world.sockets.sendError = FakeSockets::kNoBufferSpace;
  world.channel.sendsocketagent("lost");
  world.sockets.sendError = 111;
  world.channel.sendsocketagent("lost too");
  EXPECT_EQ(world.printed(), "errore,105esploso demone o chiuso ?: 111\n");
  EXPECT_EQ(world.sockets.sentLines().size(), 2u);
}

TEST(Channel, ProcessLookUpsAnswerWithTheirSentinels) {
  // What they answer for a live process is the request's path and user (IntakeTest).
  ChannelWorld world;
  EXPECT_EQ(world.channel.infoprocess(43), "error");
  EXPECT_EQ(world.channel.infoRootProcess(43), -1);
}
