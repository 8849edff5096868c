#pragma once
// A request channel with everything behind it, over in-memory sockets and processes. The test
// thread is the main loop's thread.

#include <string>
#include <thread>

#include "decision/HXNotifyWindowController.h"
#include "fakes/World.h"

namespace halvex::test {

struct ChannelWorld : World {
  ~ChannelWorld() {
    channel.closeChannel();
    if (reader.joinable()) reader.join();
  }
  // The reader on a thread of the test's, so that a test can wait for its end.
  void startReader() {
    reader = std::thread([this] { channel.openandreadsocketagent(); });
  }
  std::thread reader;

  // Runs the main loop until `replies` replies have gone out, then until the queue stands idle
  // and unsuspended (a sync block runs only after every earlier block, on a queue not held).
  void settle(std::size_t replies) {
    for (int i = 0; i < 500 && sockets.sentLines().size() < replies; ++i)
      loop.waitAndRun(std::chrono::milliseconds(10));
    for (int i = 0; i < 500; ++i) {
      if (globals.synchronizedNotification.suspendCount() == 0) return globals.synchronizedNotification.sync([] {});
      loop.waitAndRun(std::chrono::milliseconds(10));
    }
  }

  // Hands a line to the real intake as the bridge's block does (the queue held first), on the
  // test's thread, which is the main loop's: the whole decision runs before this returns.
  void intake(const std::string& line) {
    globals.synchronizedNotification.suspend();
    agent.notifyController.addRequest(line);
  }
  // Ends the open request under `tag` without an answer.
  void endRequest(const std::string& tag) {
    const auto controller = globals.notifyControllers.at(tag);
    controller->resumeQueue(tag);
  }
};

// A request line for `pid` with the given token.
inline std::string requestLine(const std::string& token, int pid, const std::string& ip = "192.0.2.1") {
  return token + " " + ip + " 443 " + std::to_string(pid) + " TCP 4 0";
}

// A zero-padded 128-byte datagram.
inline std::string datagram(const std::string& line) {
  std::string d = line.substr(0, 128);
  d.resize(128, '\0');
  return d;
}

}  // namespace halvex::test
