#pragma once
// A process runner that answers from a script: each request is recorded, and the answer comes
// from a handler the test sets (by default: launched, exit 0, no output).

#include <functional>
#include <mutex>
#include <vector>

#include "platform/ProcessRunner.h"

namespace halvex::test {

class FakeProcessRunner final : public ProcessRunner {
 public:
  using Handler = std::function<ProcessResult(const ProcessRequest&)>;

  void answer(Handler handler) {
    std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
  }
  // Shorthand: every request gets this result.
  void answerWith(ProcessResult result) {
    answer([result](const ProcessRequest&) { return result; });
  }
  ProcessResult run(const ProcessRequest& request) override {
    Handler handler;
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(request);
      handler = handler_;
    }
    return handler(request);
  }
  std::vector<ProcessRequest> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  mutable std::mutex mutex_;
  Handler handler_ = [](const ProcessRequest&) {
    return ProcessResult{.launched = true, .timedOut = false, .exitStatus = 0, .output = {}};
  };
  std::vector<ProcessRequest> requests_;
};

}  // namespace halvex::test
