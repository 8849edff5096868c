// Feeds arbitrary datagrams through the reader's text conversion and the intake, checking that
// every datagram leaves the queue running, no controller behind, and no reply over 127 bytes.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "agent/Globals.h"
#include "decision/DecisionContext.h"
#include "link/HXNotifyController.h"
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
  static managesocketagent channel(sockets, processes, control, logger, "/a", "/d");
  static DecisionContext context{globals, channel, control};
  static HXNotifyController intake(context, 0);

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
