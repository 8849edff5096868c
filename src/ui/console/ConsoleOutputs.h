#pragma once
// The headless agent's sound, clipboard and file showing. Sound is silent; the clipboard lives in
// memory and says what it holds in the log; files are shown with xdg-open, the path an argument.

#include <mutex>
#include <string>

#include "commands/CommandRunner.h"
#include "platform/Pasteboard.h"
#include "platform/SoundPlayer.h"
#include "platform/Workspace.h"
#include "runtime/LineLogger.h"

namespace halvex {

class SilentSoundPlayer final : public SoundPlayer {
 public:
  void play(const std::string&) override {}
};

class MemoryPasteboard final : public Pasteboard {
 public:
  explicit MemoryPasteboard(const LineLogger& logger) : logger_(logger) {}
  void setString(const std::string& text) override;
  std::string string() const override;

 private:
  const LineLogger& logger_;
  mutable std::mutex mutex_;
  std::string text_;
};

class XdgWorkspace final : public Workspace {
 public:
  explicit XdgWorkspace(ProcessRunner& processes, std::string opener = "/usr/bin/xdg-open")
      : runner_(processes), opener_(std::move(opener)) {}
  void revealInFolder(const std::string& path) override;
  void openFile(const std::string& path) override;

 private:
  CommandRunner runner_;
  std::string opener_;
};

}  // namespace halvex
