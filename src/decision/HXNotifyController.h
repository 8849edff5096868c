#pragma once
// The intake of requests: checks a line's seven fields, numbers the request, passes at once a
// request whose process has gone, and otherwise makes the request's controller and hands it the
// request.

#include <cstdint>
#include <string>

#include "decision/DecisionContext.h"

namespace halvex {

class HXNotifyController {
 public:
  HXNotifyController(DecisionContext& context, std::int32_t uid);

  // Runs on the synchronised queue, which the caller has suspended.
  void addRequest(const std::string& line);

  // The next tag: 999999 wraps to 2, so tags are never 0 or 1 and never above 999999.
  static std::uint32_t nextRequestCounter(std::uint32_t counter);

  const std::int32_t myUID;

 private:
  DecisionContext& context_;
};

}  // namespace halvex
