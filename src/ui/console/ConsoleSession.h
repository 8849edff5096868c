#pragma once
// The headless agent's conversation: each line a person types (or a script feeds) either answers
// the oldest open alert or asks a question of the commands.
//
//   pass|block [app|port|address|network NET]   answers the oldest open alert; without a scope,
//                                                the whole app, for ever
//   apps                                         the managed apps: state, entries, signature
//
// Answers go through the alert's one entry point, as a window's buttons do. Everything else goes
// to ConsoleCommands. Lines are read on a thread of their own and handled on the main loop.

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "agent/Composition.h"
#include "ui/console/ConsoleCommands.h"

namespace halvex {

class ConsoleSession {
 public:
  ConsoleSession(Composition& agent, std::FILE* out);
  ~ConsoleSession() { *alive_ = false; }
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;

  // On the main loop.
  void execute(std::string_view line);

  // Reads `in` line by line on a thread of its own, handing each line to the main loop. A line
  // longer than ConsoleCommands::kMaxLineBytes arrives cut to that length plus one byte, so that it
  // is refused whole; reading stops at the end of the input.
  void readFrom(std::FILE* in);

 private:
  // True when the line was an answer (or a refused one).
  bool answer(std::string_view line);
  void listApps();
  void line(const std::string& text);

  Composition& agent_;
  std::FILE* out_;
  ConsoleCommands commands_;
  std::shared_ptr<std::atomic<bool>> alive_ = std::make_shared<std::atomic<bool>>(true);
};

}  // namespace halvex
