// The stand-in daemon: the daemon's side of the request channel and of the notifications, and the
// connection logger's records, for tests and demos where no real daemon is installed. It is a
// test peer, not a part of the agent.

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/DbusNotificationCenter.h"
#include "platform/linux/LinuxFileSystem.h"
#include "platform/linux/LinuxProcessInfo.h"
#include "runtime/AgentLoop.h"
#include "runtime/Paths.h"
#include "standin/DaemonConfiguration.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::standin;

namespace {

struct Options {
  std::string root;
  std::vector<std::string> lines;
  std::size_t generate = 0;
  double rate = 0;
  std::size_t window = 8;
  int pid = 0;
  double waitAgent = 10;
  double listen = 0;
  double timeout = 5;
  bool demo = false;
  bool quiet = false;
  std::string compactOut;
  // Connection events.
  std::vector<std::string> events;
  std::size_t generateEvents = 0;
  double eventRate = 0;
  std::uint32_t eventCode = 4242;
  bool emptyEvent = false;
  double waitLogger = 10;

  bool sendsEvents() const { return !events.empty() || generateEvents > 0 || emptyEvent || demo; }
};

void usage() {
  std::puts(
      "usage: halvex-standin-daemon [options]\n"
      "  --root DIR        system root (default: $HALVEX_ROOT, else /)\n"
      "  --send LINE       send one request line (repeatable)\n"
      "  --lines FILE      send each line of FILE but empty and '#' ones ('{pid}' is replaced by --pid)\n"
      "  --generate N      send N requests for --pid\n"
      "  --rate R          requests per second for --generate (default: as fast as the window allows)\n"
      "  --window W        requests outstanding at most (default 8)\n"
      "  --pid PID         pid named in requests and events (default: this process)\n"
      "  --wait-agent S    seconds to wait for the agent's socket (default 10)\n"
      "  --listen S        seconds to keep listening for notifications after the requests\n"
      "  --timeout S       seconds to wait for a reply (default 5)\n"
      "  --demo            run the demonstration scenario (requests, then events once the logger is loaded)\n"
      "  --quiet           print only the summaries\n"
      "  --compact-out F   keep the last compact rule list heard as an XML property list in F\n"
      "Connection events, written to the agent's event socket while the logger is loaded (the agent\n"
      "loads it with the notification loadKext: start the stand-in before the agent's log comes up):\n"
      "  --event LINE      send one connection line (repeatable; '{pid}' is replaced by --pid)\n"
      "  --events FILE     send each line of FILE as one record, as --lines reads them\n"
      "  --generate-events N  send N records for --pid, passed and blocked by turns\n"
      "  --event-rate R    records per second (default: as fast as the agent reads)\n"
      "  --event-code C    event code of the records (default 4242; others are skipped by the agent)\n"
      "  --empty-event     send one empty datagram after the records (it ends the agent's reader)\n"
      "  --wait-logger S   seconds to wait for the logger to be loaded (default 10)\n"
      "Lines longer than 127 bytes are cut. Prints: 'notification NAME OBJECT', 'logger loaded|unloaded',\n"
      "'sent LINE', 'reply LINE', 'event LINE', then a summary line for the requests and one for the events.");
}

// The lines of a file, less empty ones and those starting with '#'.
bool readLines(const char* path, std::vector<std::string>& lines) {
  std::ifstream in(path);
  if (!in) {
    std::fprintf(stderr, "halvex-standin-daemon: cannot read %s\n", path);
    return false;
  }
  for (std::string line; std::getline(in, line);)
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  return true;
}

bool parse(int argc, char** argv, Options& o) {
  if (const char* root = std::getenv("HALVEX_ROOT")) o.root = root;
  o.pid = static_cast<int>(::getpid());
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> const char* {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "halvex-standin-daemon: %s needs a value\n", a.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--root") o.root = value();
    else if (a == "--send") o.lines.emplace_back(value());
    else if (a == "--lines") {
      if (!readLines(value(), o.lines)) return false;
    } else if (a == "--generate") o.generate = std::strtoul(value(), nullptr, 10);
    else if (a == "--rate") o.rate = std::strtod(value(), nullptr);
    else if (a == "--window") o.window = std::strtoul(value(), nullptr, 10);
    else if (a == "--pid") o.pid = std::atoi(value());
    else if (a == "--wait-agent") o.waitAgent = std::strtod(value(), nullptr);
    else if (a == "--listen") o.listen = std::strtod(value(), nullptr);
    else if (a == "--timeout") o.timeout = std::strtod(value(), nullptr);
    else if (a == "--demo") o.demo = true;
    else if (a == "--quiet") o.quiet = true;
    else if (a == "--compact-out") o.compactOut = value();
    else if (a == "--event") o.events.emplace_back(value());
    else if (a == "--events") {
      if (!readLines(value(), o.events)) return false;
    } else if (a == "--generate-events") o.generateEvents = std::strtoul(value(), nullptr, 10);
    else if (a == "--event-rate") o.eventRate = std::strtod(value(), nullptr);
    else if (a == "--event-code") o.eventCode = static_cast<std::uint32_t>(std::strtoul(value(), nullptr, 0));
    else if (a == "--empty-event") o.emptyEvent = true;
    else if (a == "--wait-logger") o.waitLogger = std::strtod(value(), nullptr);
    else if (a == "--help" || a == "-h") {
      usage();
      std::exit(0);
    } else {
      std::fprintf(stderr, "halvex-standin-daemon: unknown option %s\n", a.c_str());
      usage();
      return false;
    }
  }
  return true;
}

std::string replacePid(std::string line, int pid) {
  const std::string key = "{pid}";
  for (auto at = line.find(key); at != std::string::npos; at = line.find(key))
    line.replace(at, key.size(), std::to_string(pid));
  return line;
}

std::string generatedLine(std::size_t n, int pid) {
  // Documentation-range addresses: the text is only matched, never connected to.
  return std::to_string(100000 + n) + " 192.0.2." + std::to_string(1 + n % 250) + " " +
         std::to_string(1024 + n % 60000) + " " + std::to_string(pid) + " TCP 4 0";
}

// A connection of `pid`: passed ("0 ADDR PORT PID 0 0") for even `n`, else blocked, with the
// process's path as the seventh field and on.
std::string generatedEvent(std::size_t n, int pid, const std::string& path) {
  // Documentation-range addresses, every third one IPv6.
  const std::string number = std::to_string(1 + n % 250);
  const std::string address = n % 3 == 2 ? "2001:db8::" + number : "198.51.100." + number;
  const bool blocked = n % 2 == 1;
  const std::string line = "0 " + address + (blocked ? " 443 " : " 53 ") + std::to_string(pid) + " 0 0";
  return blocked ? line + " " + path : line;
}

// Sends the records while the logger is loaded, waiting for it (within the bound) before each;
// returns how many went out before the first that could not.
std::size_t sendEvents(DaemonPeer& peer, const std::string& eventPath, const ConnectionLogger& logger,
                       const std::vector<std::string>& records, const Options& o) {
  const auto waitLoaded = std::chrono::milliseconds(static_cast<long>(o.waitLogger * 1000));
  const auto sendTimeout = std::chrono::milliseconds(static_cast<long>(o.timeout * 1000));
  const auto gap = std::chrono::duration<double>(o.eventRate > 0 ? 1.0 / o.eventRate : 0);
  auto due = std::chrono::steady_clock::now();
  std::size_t sent = 0;
  for (const auto& record : records) {
    if (!logger.waitLoaded(waitLoaded)) {
      std::fprintf(stderr, "halvex-standin-daemon: the connection logger was not loaded within %gs\n", o.waitLogger);
      return sent;
    }
    std::this_thread::sleep_until(due);
    due += std::chrono::duration_cast<std::chrono::steady_clock::duration>(gap);
    if (!peer.sendRawTo(eventPath, record, sendTimeout)) {
      std::fprintf(stderr, "halvex-standin-daemon: event not delivered to %s: %s\n", eventPath.c_str(),
                   std::strerror(errno));
      return sent;
    }
    ++sent;
    if (!o.quiet) std::printf("event %s\n", record.empty() ? "(empty)" : record.c_str() + 24);
  }
  return sent;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  if (!parse(argc, argv, o)) return 2;
  setvbuf(stdout, nullptr, _IOLBF, 0);

  PathEnvironment env;
  env.root = o.root == "/" ? "" : o.root;
  const Paths paths(env);
  LineLogger logger("halvex-standin", static_cast<int>(::getpid()), stderr, stdout);

  // Notifications arrive on a loop of their own, printed as they come.
  AgentLoop loop;
  std::thread loopThread([&] { loop.run(); });
  std::atomic<bool> agentStarted{false};
  int exitCode = 0;
  {
    // Before the centre, so that no delivery outlives them.
    LinuxFileSystem files;
    DaemonConfiguration configuration(files, paths.confPath());
    DbusNotificationCenter center(loop, logger);
    std::mutex printMutex;
    auto show = [&](const DistributedNotification& n) {
      std::lock_guard lock(printMutex);
      std::printf("notification %s %s%s\n", n.name.c_str(), n.object.c_str(),
                  n.userInfo ? (" userInfo(" + std::to_string(n.userInfo->size()) + " keys)").c_str() : "");
      if (n.name == "startAgent") agentStarted = true;
    };
    for (const char* name : {"startKext", "startAgent", "stopKext", "rootPermissions", "xpcOption"})
      center.addObserver(name, "", show);
    // The connection logger, switched by the agent.
    ConnectionLogger connectionLogger;
    for (const char* name : {"loadKext", "unloadKext"}) {
      center.addObserver(name, "it.dovik.halvexconnkext", [&](const DistributedNotification& n) {
        show(n);
        if (!connectionLogger.handle(n.name)) return;
        std::lock_guard lock(printMutex);
        std::printf("logger %s\n", connectionLogger.loaded() ? "loaded" : "unloaded");
      });
    }
    // The configuration: /etc/halvex.conf written as the daemon must, the compact list kept.
    for (const char* name : {"writeHalvexConfiguration", "newAppListReceived"}) {
      center.addObserver(name, "", [&](const DistributedNotification& n) {
        show(n);
        configuration.handle(n);
        if (n.name != "newAppListReceived") return;
        if (!o.compactOut.empty()) files.writeFileAtomically(o.compactOut, configuration.compactListXml());
        std::lock_guard lock(printMutex);
        std::printf("compact %s\n", configuration.compactSummary().c_str());
      });
    }
    if (o.listen > 0) std::printf("ready\n");

    try {
      DaemonPeer peer(paths.daemonSocket(), paths.agentSocket());
      std::vector<std::string> lines;
      for (const auto& l : o.lines) lines.push_back(replacePid(l, o.pid));
      for (std::size_t n = 0; n < o.generate; ++n) lines.push_back(generatedLine(n, o.pid));
      if (o.demo) {
        const int sleeper = o.pid;
        lines = {"1 192.0.2.10 443 " + std::to_string(sleeper) + " TCP 4 0",
                 "2 198.51.100.7 53 " + std::to_string(sleeper) + " UDP 4 0",
                 "3 2001:db8::1 443 " + std::to_string(sleeper) + " TCP 6 0", "4 192.0.2.11 80 999999 TCP 4 0"};
      }

      if (!lines.empty()) {
        const auto wait = std::chrono::milliseconds(static_cast<long>(o.waitAgent * 1000));
        if (!waitForFile(paths.agentSocket(), wait)) {
          std::fprintf(stderr, "halvex-standin-daemon: no agent socket at %s\n", paths.agentSocket().c_str());
          exitCode = 1;
        }
        // Give a starting agent the moment between binding its socket and announcing itself.
        const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
        while (!agentStarted && center.connected() && std::chrono::steady_clock::now() < until)
          std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }

      std::size_t replied = 0;
      if (exitCode == 0 && !lines.empty()) {
        const auto timeout = std::chrono::milliseconds(static_cast<long>(o.timeout * 1000));
        if (o.rate > 0) {
          // Paced: one request at a time on the clock.
          const auto gap = std::chrono::duration<double>(1.0 / o.rate);
          auto due = std::chrono::steady_clock::now();
          for (const auto& line : lines) {
            std::this_thread::sleep_until(due);
            due += std::chrono::duration_cast<std::chrono::steady_clock::duration>(gap);
            auto result = peer.exchange({line}, 1, timeout);
            if (!o.quiet) std::printf("sent %s\n", line.c_str());
            if (result[0].reply) {
              ++replied;
              if (!o.quiet) std::printf("reply %s\n", result[0].reply->c_str());
            }
          }
        } else {
          if (!o.quiet)
            for (const auto& line : lines) std::printf("sent %s\n", line.c_str());
          auto results = peer.exchange(lines, o.window, timeout, [&](const Exchange& e) {
            if (!o.quiet) std::printf("reply %s\n", e.reply->c_str());
          });
          for (const auto& r : results) replied += r.reply ? 1 : 0;
        }
        std::printf("summary sent=%zu replied=%zu\n", lines.size(), replied);
      }

      if (exitCode == 0 && o.sendsEvents()) {
        const std::string pid = std::to_string(o.pid);
        const std::string path = LinuxProcessInfo().executablePath(o.pid).value_or("/unknown");
        std::vector<std::string> events;
        for (const auto& l : o.events) events.push_back(replacePid(l, o.pid));
        for (std::size_t n = 0; n < o.generateEvents; ++n) events.push_back(generatedEvent(n, o.pid, path));
        if (o.demo) {
          // Passed and blocked connections of a live process, and a blocked one of a process gone.
          events = {"0 192.0.2.10 443 " + pid + " 0 0", "0 198.51.100.7 53 " + pid + " 0 0 " + path,
                    "0 2001:db8::1 443 " + pid + " 0 0", "0 192.0.2.11 80 999999 0 0 /opt/gone app/bin/tool"};
        }
        std::vector<std::string> records;
        records.reserve(events.size() + 1);
        for (const auto& event : events) records.push_back(connectionEventRecord(event, o.eventCode));
        if (o.emptyEvent) records.emplace_back();
        const std::size_t sent = sendEvents(peer, paths.kernelEventSocket(), connectionLogger, records, o);
        std::printf("summary events=%zu sent=%zu\n", records.size(), sent);
        // The demonstration goes on without a live log.
        if (sent < records.size() && !o.demo) exitCode = 1;
      }
      if (o.listen > 0) std::this_thread::sleep_for(std::chrono::duration<double>(o.listen));
    } catch (const std::exception& e) {
      std::fprintf(stderr, "halvex-standin-daemon: %s\n", e.what());
      exitCode = 1;
    }
  }
  loop.quit();
  loopThread.join();
  return exitCode;
}
