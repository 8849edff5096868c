#include "runtime/AgentLoop.h"

namespace halvex {

int AgentLoop::run() {
  setLoopThread(std::this_thread::get_id());
  while (!quitting_) {
    if (auto task = takePosted()) {
      (*task)();
    } else if (auto timer = takeDueTimer(now())) {
      (*timer)();
    } else {
      waitForWork(nextTimerDue());
    }
  }
  setLoopThread({});
  return exitCode_;
}

void AgentLoop::quit(int code) {
  exitCode_ = code;
  quitting_ = true;
  wake();
}

}  // namespace halvex
