#include "decision/HXNotifyController.h"

#include <memory>

#include "decision/HXNotifyWindowController.h"
#include "link/RequestLine.h"
#include "link/managesocketagent.h"

namespace halvex {

HXNotifyController::HXNotifyController(DecisionContext& context, std::int32_t uid,
                                       DistributedNotificationCenter& center, ConnectionFields buildConnection)
    : myUID(uid), context_(context), center_(center), buildConnection_(std::move(buildConnection)) {
  observer_ = center_.addObserver(connectionevents::kHalvexConnections, connectionevents::kHalvexConnectionsObject,
                                  [this](const DistributedNotification& n) { halvexconnections(n); });
}

HXNotifyController::~HXNotifyController() { center_.removeObserver(observer_); }

void HXNotifyController::halvexconnections(const DistributedNotification& notification) {
  // Only the agent's own posting connection speaks for the event reader.
  const std::string own = center_.ownSender();
  if (own.empty() || notification.sender != own) {
    // A flood of foreign lines must not become a flood of log lines: one a second at most.
    ++foreignDropped_;
    const auto now = context_.globals.mainLoop.now();
    if (foreignDropped_ == 1 || now - lastDropLogged_ >= std::chrono::seconds(1)) {
      context_.logger.log("[HALVEX AGENT] " + std::string(connectionevents::kHalvexConnections) + " from \"" +
                          notification.sender + "\" dropped: only the agent's own events are read (" +
                          std::to_string(foreignDropped_) + " dropped so far)");
      lastDropLogged_ = now;
    }
    return;
  }
  const plist::Value* value =
      notification.userInfo ? notification.userInfo->find(connectionevents::kConnectionsKey) : nullptr;
  const std::string* line = value ? value->asString() : nullptr;
  if (!line) {
    context_.logger.log("[HALVEX AGENT] " + std::string(connectionevents::kHalvexConnections) +
                        " without a line dropped");
    return;
  }
  auto fields = connectionFields(*line);
  if (fields.front() != "0") return;
  context_.globals.connectionBuilding.async(
      [build = buildConnection_, fields = std::move(fields)]() mutable { build(std::move(fields)); });
}

std::uint32_t HXNotifyController::nextRequestCounter(std::uint32_t counter) {
  if (counter == 999999) counter = 1;
  return counter + 1;
}

void HXNotifyController::addRequest(const std::string& line) {
  auto& globals = context_.globals;
  auto& channel = context_.mymanagesocketagent;
  auto request = parseRequest(line);
  if (!request) {
    // Dropped without a word to the daemon; the next line is taken.
    globals.synchronizedNotification.resume();
    return;
  }

  globals.requestCounter = nextRequestCounter(globals.requestCounter);
  request->tagNotify = std::to_string(globals.requestCounter);

  request->processName = channel.infoprocess(request->processPid);
  if (request->processName == "error") {
    // The process has gone between its connect and now: pass it, and no controller is made.
    channel.sendsocketagent(withoutLineFeeds(line) + std::string(kReplyPassApp));
    globals.synchronizedNotification.resume();
    return;
  }
  request->processUID = channel.infoRootProcess(request->processPid);

  auto controller = std::make_shared<HXNotifyWindowController>(context_);
  globals.notifyControllers[request->tagNotify] = controller;
  if (globals.debugFlag) {
    context_.logger.print("request " + request->tagNotify + " pid " + std::to_string(request->processPid) + " path " +
                          request->processName + " uid " + std::to_string(request->processUID) + "\n");
  }
  controller->setNotifyParameters(std::move(*request));
}

}  // namespace halvex
