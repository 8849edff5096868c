#include "fakes/ManualLoop.h"

namespace halvex::test {

std::size_t ManualLoop::runPending() {
  std::size_t ran = 0;
  while (auto task = takePosted()) {
    (*task)();
    ++ran;
  }
  return ran;
}

void ManualLoop::advance(Duration by) {
  const auto target = now() + by;
  runPending();
  for (;;) {
    const auto next = nextTimerDue();
    if (!next || *next > target) break;
    {
      std::lock_guard lock(clock_);
      now_ = *next;
    }
    if (auto due = takeDueTimer(*next)) (*due)();
    runPending();
  }
  std::lock_guard lock(clock_);
  now_ = target;
}

bool ManualLoop::waitAndRun(std::chrono::milliseconds timeout) {
  if (!waitForPosted(timeout)) return false;
  runPending();
  return true;
}

bool ManualLoop::waitForPosted(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  // A timer scheduled meanwhile also wakes the wait: wait again until a task or the deadline.
  while (std::chrono::steady_clock::now() < deadline) {
    if (pendingCount() > 0 || waitForWork(deadline)) return true;
  }
  return pendingCount() > 0;
}

}  // namespace halvex::test
