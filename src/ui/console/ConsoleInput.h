#pragma once
// Where the console's answers come from: the terminal, standard input or an answers file (a FIFO
// works), read line by line on a thread of its own. Each line goes to the session on the main
// loop, unless a dialog is waiting for it: then the dialog takes it, as a modal window takes the
// next click.

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "runtime/MainLoop.h"

namespace halvex {

class ConsoleInput {
 public:
  // A longer line arrives cut to this length plus one byte, so that it is refused whole.
  static constexpr std::size_t kMaxLineBytes = 8192;

  explicit ConsoleInput(MainLoop& loop) : loop_(loop) {}
  ~ConsoleInput();
  ConsoleInput(const ConsoleInput&) = delete;
  ConsoleInput& operator=(const ConsoleInput&) = delete;

  // Starts reading; `onLine` runs on the main loop. `terminal`: a person types at it.
  void start(std::FILE* in, bool terminal, std::function<void(std::string)> onLine);
  bool hasSource() const;
  bool isTerminal() const { return terminal_; }
  // For a dialog on the main loop: blocks until the next line; nothing once the input has ended
  // (or when there is none).
  std::optional<std::string> takeLine();

 private:
  struct Shared {
    std::mutex mutex;
    std::condition_variable ready;
    bool alive = true;
    bool started = false;
    bool ended = false;
    bool waiting = false;
    std::optional<std::string> slot;
  };

  MainLoop& loop_;
  bool terminal_ = false;
  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

}  // namespace halvex
