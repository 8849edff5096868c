// Feeds arbitrary datagrams through the reader's text conversion, the intake, the rule check and,
// when an alert opens, an answer through the alert's entry point, checking that every datagram
// leaves the queue running, no controller behind, and no reply over 127 bytes.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "decision/HXNotifyWindowController.h"
#include "fakes/World.h"
#include "rules/GenerateHXApplication.h"
#include "rules/HXApplication.h"

using namespace halvex;

namespace {

// Apps in every state, named like the fuzz processes' paths, with rules of every kind.
void resetApps(test::World& world) {
  auto& globals = world.globals;
  globals.globalAppsArray.clear();
  const std::vector<std::string> matches{"@1", "#1/8", "@::/0", "#2001:db8::/48", "@443", "#10.0.0.0/33", "@_range1:9"};
  for (int state = 0; state <= 5; ++state) {
    auto app = generateHXApplication(world.context, state, "/usr/bin/p" + std::to_string(state + 1));
    app->appMatches = matches;
    app->appIsQuietPass = state == 5;
    globals.globalAppsArray.push_back(app);
  }
}

test::World& world() {
  static auto* w = [] {
    auto* made = new test::World;
    // Every pid names a process except multiples of 3, which have gone; uids alternate.
    for (std::int32_t pid = 0; pid < 64; ++pid)
      if (pid % 3 != 0) made->processes.add(pid, "/usr/bin/p" + std::to_string(pid), pid % 2);
    return made;
  }();
  return *w;
}

// The answer a person might give, taken from the datagram's last byte.
AlertAnswer answerFrom(std::uint8_t byte) {
  AlertAnswer answer;
  answer.pass = (byte & 1) != 0;
  answer.scope = static_cast<AlertScope>((byte >> 1) % 4);
  answer.duration = static_cast<AppDuration>((byte >> 3) % 3);
  answer.minutes = byte >> 5;
  answer.quiet = (byte & 0x80) != 0;
  answer.network = (byte & 0x40) ? "2001:db8::/32" : "192.0.2.0/24";
  return answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& w = world();
  auto& globals = w.globals;
  if (globals.globalAppsArray.size() < 6 || globals.globalAppsArray.size() > 64) resetApps(w);

  // The reader's view of a datagram: at most 128 bytes, text up to the first NUL.
  char buffer[129] = {};
  std::memcpy(buffer, data, size < 128 ? size : 128);
  const std::string line(buffer, ::strnlen(buffer, 128));
  // Replies that could not fit are a programming error by design: keep the lines that can.
  if (line.size() + 6 > 127) return 0;

  globals.enableNotifications = (size % 2) == 0;
  globals.synchronizedNotification.suspend();
  w.agent.notifyController.addRequest(line);
  w.loop.runPending();
  for (const auto& tag : w.agent.alertAnswers.openAlerts()) {
    // A network the alert does not offer, or one that does not hold the address, is refused with
    // a reason and leaves the alert open; its expiry then ends it.
    const auto outcome = w.agent.alertAnswers.answer(tag, answerFrom(size ? data[size - 1] : 0));
    if (!outcome.answered && (outcome.error.empty() || w.agent.alertAnswers.find(tag) == nullptr)) std::abort();
  }
  w.loop.advance(std::chrono::seconds(61));
  w.loop.runPending();
  if (globals.notificationOnScreen) std::abort();
  if (globals.synchronizedNotification.suspendCount() != 0) std::abort();
  if (!globals.notifyControllers.empty()) std::abort();
  w.sockets.forgetSent();
  w.alerts.shown.clear();
  w.alerts.closed.clear();
  return 0;
}
