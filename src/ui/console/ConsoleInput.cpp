#include "ui/console/ConsoleInput.h"

#include <thread>

namespace halvex {

ConsoleInput::~ConsoleInput() {
  // The thread may stay blocked in its read after this: it never touches the loop again.
  std::lock_guard lock(shared_->mutex);
  shared_->alive = false;
  shared_->ready.notify_all();
}

void ConsoleInput::start(std::FILE* in, bool terminal, std::function<void(std::string)> onLine) {
  terminal_ = terminal;
  {
    std::lock_guard lock(shared_->mutex);
    shared_->started = true;
  }
  std::thread([in, shared = shared_, &loop = loop_, onLine = std::move(onLine)] {
    auto hand = [&](std::string text) {
      std::lock_guard lock(shared->mutex);
      if (!shared->alive) return false;
      if (shared->waiting && !shared->slot) {
        shared->slot = std::move(text);
        shared->ready.notify_all();
      } else {
        loop.post([shared, onLine, text = std::move(text)] {
          if (shared->alive) onLine(text);
        });
      }
      return true;
    };
    std::string text;
    bool open = true;
    for (int c; open && (c = std::fgetc(in)) != EOF;) {
      if (c == '\n') {
        open = hand(std::move(text));
        text.clear();
      } else if (text.size() <= kMaxLineBytes) {
        text.push_back(static_cast<char>(c));
      }
    }
    if (open && !text.empty()) hand(std::move(text));
    std::lock_guard lock(shared->mutex);
    shared->ended = true;
    shared->ready.notify_all();
  }).detach();
}

bool ConsoleInput::hasSource() const {
  std::lock_guard lock(shared_->mutex);
  return shared_->started && !shared_->ended;
}

std::optional<std::string> ConsoleInput::takeLine() {
  std::unique_lock lock(shared_->mutex);
  if (!shared_->started) return std::nullopt;
  shared_->waiting = true;
  shared_->ready.wait(lock, [&] { return shared_->slot || shared_->ended || !shared_->alive; });
  shared_->waiting = false;
  auto line = std::move(shared_->slot);
  shared_->slot.reset();
  return line;
}

}  // namespace halvex
