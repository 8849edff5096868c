#pragma once
// The intake of requests: checks a line's seven fields, numbers the request, passes at once a
// request whose process has gone, and otherwise makes the request's controller and hands it the
// request.
//
// It also takes the connection events the agent posts to itself (`halvexconnections`), from its
// creation on: only from the agent's own bus connection, since anyone on the bus may send that
// signal and a line out of the stream's grammar ends the process. Each line of a connection
// whose first field is "0" goes, split into its fields, to the log's building on the background
// queue.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "decision/DecisionContext.h"
#include "link/ConnectionEvents.h"
#include "platform/DistributedNotificationCenter.h"

namespace halvex {

class HXNotifyController {
 public:
  // Builds the log's record from a connection line's fields; called on the background queue.
  using ConnectionFields = std::function<void(std::vector<std::string> fields)>;

  HXNotifyController(DecisionContext& context, std::int32_t uid, DistributedNotificationCenter& center,
                     ConnectionFields buildConnection);
  ~HXNotifyController();
  HXNotifyController(const HXNotifyController&) = delete;
  HXNotifyController& operator=(const HXNotifyController&) = delete;

  // Runs on the synchronised queue, which the caller has suspended.
  void addRequest(const std::string& line);

  // On the main loop: one connection event, as the centre delivers it.
  void halvexconnections(const DistributedNotification& notification);

  // The next tag: 999999 wraps to 2, so tags are never 0 or 1 and never above 999999.
  static std::uint32_t nextRequestCounter(std::uint32_t counter);

  const std::int32_t myUID;

 private:
  DecisionContext& context_;
  DistributedNotificationCenter& center_;
  ConnectionFields buildConnection_;
  DistributedNotificationCenter::Token observer_ = 0;
  std::uint64_t foreignDropped_ = 0;
  std::chrono::steady_clock::time_point lastDropLogged_{};
};

}  // namespace halvex
