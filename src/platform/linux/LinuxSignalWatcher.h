#pragma once
// Turns the quit signals into calls on the main loop: SIGTERM and SIGINT are the plain quit,
// SIGUSR1 the quit that also stops filtering. Construct it before any other thread starts: it
// blocks the signals for the whole process and waits for them on a thread of its own.

#include <functional>
#include <thread>

#include "runtime/MainLoop.h"

namespace halvex {

class LinuxSignalWatcher {
 public:
  LinuxSignalWatcher(MainLoop& loop, std::function<void()> plainQuit, std::function<void()> alternateQuit);
  ~LinuxSignalWatcher();

 private:
  std::thread thread_;
};

}  // namespace halvex
