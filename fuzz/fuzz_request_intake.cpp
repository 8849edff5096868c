// Feeds arbitrary datagrams through the reader's text conversion and the intake, checking that
// every datagram leaves the queue running, no controller behind, and no reply over 127 bytes.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "configuration/Globals.h"
#include "decision/AlertPresenter.h"
#include "decision/DecisionContext.h"
#include "decision/HXNotifyWindowController.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"
#include "decision/HXNotifyController.h"
#include "link/BridgeClassHalvex.h"
#include "link/RequestLine.h"
#include "link/managesocketagent.h"

using namespace halvex;

namespace {

// Runs everything at once on the calling thread.
class InlineLoop final : public MainLoop {
 public:
  void post(Task task) override { task(); }
  void postAndWait(Task task) override { task(); }
  TimerId scheduleTimer(Duration, bool, Task) override { return 1; }
  void cancelTimer(TimerId) override {}
  bool isLoopThread() const override { return true; }
  std::chrono::steady_clock::time_point now() const override { return {}; }
};

class Sockets final : public UnixDatagramSockets {
 public:
  std::size_t sent = 0;
  int openSocket(int&) override { return 3; }
  bool setSendBufferSize(int, int) override { return true; }
  bool setReceiveBufferSize(int, int) override { return true; }
  void unlinkPath(const std::string&) override {}
  bool bindPath(int, const std::string&, int&) override { return true; }
  void changeMode(const std::string&, unsigned) override {}
  long receive(int, char*, std::size_t) override { return 0; }
  long sendTo(int, const char* buffer, std::size_t size, const std::string&, int&) override {
    if (size != 128 || ::strnlen(buffer, size) > 127) std::abort();
    ++sent;
    return 128;
  }
  bool isNoBufferSpace(int) const override { return false; }
  void shutdownAndClose(int) override {}
};

class Processes final : public ProcessInfo {
 public:
  std::optional<std::string> executablePath(std::int32_t pid) const override {
    if (pid % 3 == 0) return std::nullopt;
    return "/usr/bin/p" + std::to_string(pid);
  }
  std::optional<std::int32_t> effectiveUid(std::int32_t pid) const override { return pid % 2; }
};

// An alert answered at once: the request ends as it would after the user's choice.
struct InstantAlert final : AlertPresenter {
  void mostra(std::shared_ptr<HXNotifyWindowController> request) override {
    request->reply(" 0 # #");
    request->resumeQueue(request->parameterTagString);
  }
};

// Apps in every state, named like the fuzz processes' paths, with rules of every kind.
void resetApps(Globals& globals, const RulesContext& rules) {
  globals.globalAppsArray.clear();
  const std::vector<std::string> matches{"@1", "#1/8", "@::/0", "#2001:db8::/48", "@443", "#10.0.0.0/33", "@_range1:9"};
  for (int state = 0; state <= 5; ++state) {
    auto app = generateHXApplication(rules, state, "/usr/bin/p" + std::to_string(state + 1));
    app->appMatches = matches;
    app->appIsQuietPass = state == 5;
    globals.globalAppsArray.push_back(app);
  }
}

struct Control final : ProcessControl {
  [[noreturn]] void exitProcess(int) override { std::abort(); }
  [[noreturn]] void fatal(const std::string&) override { std::abort(); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static InlineLoop loop;
  static Globals globals(loop);
  static Sockets sockets;
  static Processes processes;
  static Control control;
  static LineLogger logger("fuzz", 0, stderr, stderr);
  static BridgeClassHalvex bridge(globals.synchronizedNotification, [](const std::string&) {});
  static managesocketagent channel(sockets, processes, control, logger, bridge, "/a", "/d");
  static NotificationCenter center;
  static RulesContext rules = [] {
    RulesContext r;
    r.mainLoop = &loop;
    r.notificationCenter = &center;
    return r;
  }();
  static InstantAlert alert;
  static DecisionContext context{globals, channel, control, &rules, &alert};
  static HXNotifyController intake(context, 0);
  if (globals.globalAppsArray.size() < 6 || globals.globalAppsArray.size() > 64) resetApps(globals, rules);

  // The reader's view of a datagram: at most 128 bytes, text up to the first NUL.
  char buffer[129] = {};
  std::memcpy(buffer, data, size < 128 ? size : 128);
  const std::string line(buffer, ::strnlen(buffer, 128));
  // Replies that could not fit are a programming error by design: keep the lines that can.
  if (line.size() + 6 > 127) return 0;

  globals.enableNotifications = (size % 2) == 0;
  globals.synchronizedNotification.suspend();
  intake.addRequest(line);
  if (globals.synchronizedNotification.suspendCount() != 0) std::abort();
  if (!globals.notifyControllers.empty()) std::abort();
  parseRequestLine(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
