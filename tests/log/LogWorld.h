#pragma once
// One agent in memory (see World) with the live log's processes: this user's tools, another
// user's, root's, and a helper service whose owning app runs; lines of the event stream go to
// the log's building as the intake hands them over.

#include <chrono>
#include <string>
#include <vector>

#include "decision/HXNotifyController.h"
#include "fakes/World.h"
#include "log/HXConnectionController.h"

namespace halvex::test {

inline constexpr const char* kServicePath = "/opt/Owner.app/Contents/XPCServices/Fetch.xpc/Contents/MacOS/Fetch";
inline constexpr const char* kOwnerPath = "/opt/Owner.app/Contents/MacOS/Owner";

struct LogWorld : World {
  LogWorld() {
    processes.add(100, "/usr/bin/curl", 501);
    processes.add(200, "/usr/bin/wget", 1000);
    processes.add(300, "/usr/sbin/ntpd", 0);
    processes.add(400, kServicePath, 501);
    processes.add(777, kOwnerPath, 501);
    owners.reports[400] = "state = running\n\tdomain = com.apple.xpc.launchd.domain.pid.Owner.777\n";
  }
  ~LogWorld() {
    globals.globalBackground.stop();
    globals.connectionBuilding.stop();
  }

  // One line of the stream: built as on the background queue, its row landed on the main loop.
  void feed(const std::string& line) {
    log.buildConnection(connectionFields(line));
    loop.runPending();
  }
  // Runs the main loop until `done` holds, while background look-ups come back.
  template <class Done>
  bool until(Done done) {
    for (int i = 0; i < 200 && !done(); ++i) loop.waitAndRun(std::chrono::milliseconds(20));
    return done();
  }
  std::vector<std::string> columnNames() const {
    std::vector<std::string> names;
    for (const auto& row : log.view.rows) names.push_back(row.columnProcessName);
    return names;
  }
  // The connection lines of the log file, without the logger's prefix.
  std::vector<std::string> fileLines() const {
    std::vector<std::string> lines;
    const std::string text = logText();
    for (std::size_t at = text.find("[CONN]"); at != std::string::npos; at = text.find("[CONN]", at + 1))
      lines.push_back(text.substr(at, text.find('\n', at) - at));
    return lines;
  }
  void select(std::size_t row) { log.allConsLibraryController.setSelectionIndex(row); }

  HXConnectionController& log = agent.connectionController;
};

}  // namespace halvex::test
