#pragma once
// An agent with alerts on in which pid 300 (curl, unless a request says otherwise) asks: its
// requests go through the real intake and rule check, its alerts are answered through their
// controls or the answers' entry point, and time is virtual.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "link/ChannelWorld.h"
#include "rules/AppPaths.h"
#include "rules/HXApplication.h"

namespace halvex::test {

using Texts = std::vector<std::string>;
inline constexpr const char* kCurl = "/usr/bin/curl";

// Answers as a person gives them.
inline AlertAnswer answer(bool pass, std::optional<AlertScope> scope = {}, std::string network = {}) {
  AlertAnswer a;
  a.pass = pass;
  a.scope = scope;
  a.network = std::move(network);
  return a;
}
inline AlertAnswer forApp(std::optional<AppDuration> duration, std::int64_t minutes = 0) {
  auto a = answer(true, AlertScope::app);
  a.duration = duration;
  a.minutes = minutes;
  return a;
}
inline AlertAnswer quietly(bool pass, std::int64_t seconds = 0) {
  auto a = answer(pass, AlertScope::address);
  a.quiet = true;
  a.quietSeconds = seconds;
  return a;
}
inline Texts texts(auto... items) { return Texts{items...}; }

struct AlertWorld : ChannelWorld {
  AlertWorld() {
    globals.enableNotifications = true;
    for (const char* name : {"copyArrayAppLibrary", "sendConfiguration", "expireApp", "silenceNotifications"})
      globals.notificationCenter.addObserver(name, [this, name](const Notification&) { posted.push_back(name); });
  }

  // One request of `path` to `address`: what its replies append, one after another, and "alert"
  // when it opened one.
  std::string ask(const std::string& address, const std::string& path = kCurl, const std::string& port = "443") {
    processes.add(300, path, 501);
    line = "t " + address + " " + port + " 300 TCP 4 0";
    const auto sent = sockets.sentLines().size();
    const auto shown = alerts.shown.size();
    intake(line);
    loop.runPending();
    return repliesSince(sent) + (alerts.shown.size() > shown ? "alert" : "");
  }
  // Opens an alert for the request of `path` to `address`; its controller.
  HXNotifyWindowController& open(const std::string& address = "192.0.2.1", const std::string& path = kCurl) {
    EXPECT_EQ(ask(address, path), "alert");
    alert = agent.alertAnswers.find(tag());
    return *alert;
  }
  // What the answer of the last request's alert replies, or why it was refused.
  std::string reply(const AlertAnswer& answer) {
    const auto sent = sockets.sentLines().size();
    const auto outcome = agent.alertAnswers.answer(tag(), answer);
    return outcome.answered ? repliesSince(sent) : "refused: " + outcome.error;
  }
  // What the replies to the last request from the `from`th sent line on append; each echoes it.
  std::string repliesSince(std::size_t from) const {
    std::string suffixes;
    const auto sent = sockets.sentLines();
    for (auto i = from; i < sent.size(); ++i) {
      EXPECT_EQ(sent[i].rfind(line, 0), 0u) << "a reply echoes the line";
      suffixes += sent[i].substr(line.size());
    }
    return suffixes;
  }
  std::string tag() const { return std::to_string(globals.requestCounter); }

  // Time passes, and what the library does on the synchronised queue at the end of a timed rule is
  // done. Only while no alert holds the queue.
  void pass(std::chrono::seconds by) {
    loop.advance(by);
    globals.synchronizedNotification.sync([] {});
    loop.runPending();
  }
  void expectIdle() const {
    EXPECT_EQ(globals.synchronizedNotification.suspendCount(), 0);
    EXPECT_TRUE(globals.notifyControllers.empty());
    EXPECT_FALSE(globals.notificationOnScreen);
    EXPECT_TRUE(agent.alertAnswers.openAlerts().empty());
  }

  // An app in the library and its mirror, as a loaded configuration leaves it.
  std::shared_ptr<HXApplication> load(const std::string& path, std::int64_t state, Texts matches = {}) {
    auto app = controller.generateHXApplication(state, path);
    app->appMatches = std::move(matches);
    controller.appsLibraryController.addObject(app);
    globals.globalAppsArray.push_back(app);
    return app;
  }
  std::shared_ptr<HXApplication> curl() const { return findAppForPath(globals.globalAppsArray, kCurl); }
  long expiries() const { return std::ranges::count(posted, "expireApp"); }
  long listsSent() const { return std::ranges::count(center.postedNames(), "newAppListReceived"); }

  std::string line;
  std::shared_ptr<HXNotifyWindowController> alert;
  // The in-process notifications of the decision's ends, in order.
  Texts posted;
};

}  // namespace halvex::test
