#include "platform/linux/LinuxSignalWatcher.h"

#include <pthread.h>
#include <signal.h>

namespace halvex {
namespace {

sigset_t quitSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGUSR1);
  // SIGUSR2 only wakes the watcher when it is torn down.
  sigaddset(&set, SIGUSR2);
  return set;
}

}  // namespace

LinuxSignalWatcher::LinuxSignalWatcher(MainLoop& loop, std::function<void()> plainQuit,
                                       std::function<void()> alternateQuit) {
  const sigset_t set = quitSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  thread_ = std::thread([&loop, set, plainQuit = std::move(plainQuit), alternateQuit = std::move(alternateQuit)] {
    for (;;) {
      int signal = 0;
      if (sigwait(&set, &signal) != 0) continue;
      if (signal == SIGUSR2) return;
      loop.post(signal == SIGUSR1 ? alternateQuit : plainQuit);
    }
  });
}

LinuxSignalWatcher::~LinuxSignalWatcher() {
  pthread_kill(thread_.native_handle(), SIGUSR2);
  thread_.join();
}

}  // namespace halvex
