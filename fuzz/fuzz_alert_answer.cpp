// Feeds arbitrary console lines to an open alert about an arbitrary address, as a person or a
// script would type them: the line is read by the answer grammar and, when it is an answer, works the alert's controls
// and presses its button. Whatever the line, the request ends exactly once (by the answer or by the expiry that
// follows), the queue runs again, no alert stays open, and no reply exceeds 127 bytes.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "decision/AlertAnswers.h"
#include "decision/HXNotifyWindowController.h"
#include "fakes/World.h"
#include "ui/console/AlertLine.h"

using namespace halvex;
using namespace std::chrono_literals;

namespace {

test::World& world() {
  static auto* w = [] {
    auto* made = new test::World;
    made->globals.enableNotifications = true;
    made->globals.moreOptionsOpen = true;
    made->processes.add(300, "/usr/bin/curl", 501);
    return made;
  }();
  return *w;
}

}  // namespace

// The world's recorders (alerts shown, sounds played, dialogs) keep growing by design, which the
// leak check would take for a leak at every input and scan the heap for: it is off here, the
// address and undefined-behaviour checks stay. Each input runs the whole alert, tens of thousands
// of features, whose rarity bookkeeping (entropic scheduling) would take nine tenths of the time.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static std::vector<char*> args(*argv, *argv + *argc);
  static char noLeakCheck[] = "-detect_leaks=0";
  static char plainScheduling[] = "-entropic=0";
  args.insert(args.begin() + 1, {noLeakCheck, plainScheduling});
  *argc = static_cast<int>(args.size());
  *argv = args.data();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& w = world();
  // Every input starts from an empty library: apps the last answer made would settle this one.
  w.globals.globalAppsArray.clear();
  w.agent.appsLibrary.appsLibraryController.setContent({});
  const std::string input(reinterpret_cast<const char*>(data), size);
  // The first word is the address the request asks about (odd forms included), the rest the line
  // typed at the console.
  const auto space = input.find(' ');
  const std::string address = input.substr(0, std::min<std::size_t>(space, 48));
  const std::string text = space == std::string::npos ? std::string() : input.substr(space + 1);
  const std::string line = "t " + address + " 443 300 TCP 4 0";
  // Nothing kept from earlier inputs, so that an input that leaks stands out.
  w.sockets.forgetSent();
  const std::size_t before = 0;
  w.globals.synchronizedNotification.suspend();
  w.agent.notifyController.addRequest(line);
  w.loop.runPending();
  const auto open = w.agent.alertAnswers.openAlerts();
  if (open.empty()) {
    // A line the intake refuses is answered, or dropped, at once.
    if (w.globals.synchronizedNotification.suspendCount() != 0) std::abort();
    return 0;
  }
  if (open.size() != 1) std::abort();
  const auto parsed = parseAlertLine(text);
  if (parsed.kind == AlertLine::Kind::answer) (void)w.agent.alertAnswers.answer(open.front(), parsed.answer);
  if (parsed.kind == AlertLine::Kind::wait) w.agent.alertAnswers.find(open.front())->stopAndRestartTimeout();
  w.loop.advance(61s);
  const auto sent = w.sockets.sentLines();
  if (sent.size() != before + 1 || sent.back().size() > 127) std::abort();
  if (w.globals.synchronizedNotification.suspendCount() != 0 || !w.agent.alertAnswers.openAlerts().empty() ||
      w.globals.notificationOnScreen)
    std::abort();
  // Timed rules the answer made end here, so that no timer outlives the input; their endings
  // run on the synchronised queue.
  w.loop.advance(std::chrono::hours(25));
  w.globals.synchronizedNotification.sync([] {});
  w.loop.runPending();
  return 0;
}
