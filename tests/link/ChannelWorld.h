#pragma once
// A request channel with everything behind it, over in-memory sockets and processes. The test
// thread is the main loop's thread.

#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "configuration/Globals.h"
#include "decision/DecisionContext.h"
#include "decision/HXNotifyWindowController.h"
#include "fakes/FakeProcesses.h"
#include "fakes/FakeSockets.h"
#include "fakes/ManualLoop.h"
#include "link/BridgeClassHalvex.h"
#include "decision/HXNotifyController.h"
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
  BridgeClassHalvex bridge{globals.synchronizedNotification,
                           [this](const std::string& line) { notifyController.addRequest(line); }};
  managesocketagent channel{sockets, processes, control, logger, bridge, kAgentPath, kDaemonPath};
  DecisionContext context{globals, channel, control};
  HXNotifyController notifyController{context, 501};
  std::thread reader;

  ~ChannelWorld() {
    channel.closeChannel();
    if (reader.joinable()) reader.join();
    std::fclose(logFile);
    std::fclose(printFile);
  }

  void startReader() {
    reader = std::thread([this] { channel.openandreadsocketagent(); });
  }

  // Runs the main loop until `replies` replies have gone out, then until the queue stands idle
  // and unsuspended (a sync block runs only after every earlier block, on a queue not held).
  void settle(std::size_t replies) {
    for (int i = 0; i < 500 && sockets.sentLines().size() < replies; ++i) loop.waitAndRun(std::chrono::milliseconds(10));
    for (int i = 0; i < 500; ++i) {
      if (globals.synchronizedNotification.suspendCount() == 0) return globals.synchronizedNotification.sync([] {});
      loop.waitAndRun(std::chrono::milliseconds(10));
    }
  }

  // A request of pid 300, uid 501, opened as the intake opens it: the queue held and the
  // controller registered under its tag.
  using Text = const std::string&;
  std::shared_ptr<HXNotifyWindowController> openRequest(Text tag, Text path, Text line, Text responsible = "0",
                                                        Text ip = "192.0.2.1", Text port = "443",
                                                        Text protocol = "TCP", Text version = "4") {
    globals.synchronizedNotification.suspend();
    auto controller = std::make_shared<HXNotifyWindowController>(context);
    globals.notifyControllers[tag] = controller;
    controller->setNotifyParameters("300", path, "501", ip, port, protocol, version, line, tag, responsible);
    return controller;
  }

  std::string printed() const {
    std::fflush(printFile);
    std::rewind(printFile);
    std::string text;
    for (int c; (c = std::fgetc(printFile)) != EOF;) text.push_back(static_cast<char>(c));
    return text;
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
