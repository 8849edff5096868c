#pragma once
// A request channel with everything behind it, over in-memory sockets and processes: the world in
// which the channel and intake tests run. The test thread is the main loop's thread.

#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "agent/Globals.h"
#include "decision/DecisionContext.h"
#include "fakes/FakeProcesses.h"
#include "fakes/FakeSockets.h"
#include "fakes/ManualLoop.h"
#include "link/BridgeClassHalvex.h"
#include "link/HXNotifyController.h"
#include "link/managesocketagent.h"
#include "runtime/LineLogger.h"

namespace halvex::test {

inline constexpr const char* kAgentPath = "/r/var/run/halvex/agent/.it.dovik.halvex.agents";
inline constexpr const char* kDaemonPath = "/r/var/run/halvex/.it.dovik.halvex.agentc";

struct ChannelWorld {
  ManualLoop loop;
  FakeSockets sockets;
  FakeProcessInfo processes;
  ThrowingProcessControl control;
  std::FILE* logFile = std::tmpfile();
  std::FILE* printFile = std::tmpfile();
  LineLogger logger{"halvex", 1, logFile, printFile};
  Globals globals{loop};
  managesocketagent channel{sockets, processes, control, logger, kAgentPath, kDaemonPath};
  BridgeClassHalvex bridge{globals.synchronizedNotification, control};
  DecisionContext context{globals, channel, control};
  HXNotifyController notifyController{context, 501};
  std::thread reader;

  ChannelWorld() {
    channel.myBridgeClassHalvex = &bridge;
    bridge.myHXNotifyController = &notifyController;
  }
  ~ChannelWorld() {
    channel.closeChannel();
    if (reader.joinable()) reader.join();
    std::fclose(logFile);
    std::fclose(printFile);
  }

  void startReader() {
    reader = std::thread([this] { channel.openandreadsocketagent(); });
  }

  // Runs the synchronised queue and the main loop until the queue stands idle and unsuspended,
  // or until `replies` replies have gone out.
  void settle(std::size_t replies) {
    for (int i = 0; i < 500 && sockets.sentLines().size() < replies; ++i) loop.waitAndRun(std::chrono::milliseconds(10));
    drainQueue();
  }
  void drainQueue() {
    // A sync block runs only once every earlier block has run and the queue is not held.
    for (int i = 0; i < 500; ++i) {
      if (globals.synchronizedNotification.suspendCount() == 0) {
        globals.synchronizedNotification.sync([] {});
        return;
      }
      loop.waitAndRun(std::chrono::milliseconds(10));
    }
  }

  std::string printed() const {
    std::fflush(printFile);
    std::rewind(printFile);
    std::string text;
    char buffer[512];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, printFile)) > 0) text.append(buffer, n);
    return text;
  }
};

// A request line for `pid` with the given token.
inline std::string requestLine(const std::string& token, int pid, const std::string& ip = "192.0.2.1") {
  return token + " " + ip + " 443 " + std::to_string(pid) + " TCP 4 0";
}

// A zero-padded 128-byte datagram.
inline std::string datagram(const std::string& line) {
  std::string d(128, '\0');
  d.replace(0, std::min<std::size_t>(line.size(), 128), line.substr(0, 128));
  return d;
}

}  // namespace halvex::test
