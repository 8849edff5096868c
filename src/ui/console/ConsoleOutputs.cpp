#include "ui/console/ConsoleOutputs.h"

namespace halvex {

void MemoryPasteboard::setString(const std::string& text) {
  {
    std::lock_guard lock(mutex_);
    text_ = text;
  }
  logger_.log("clipboard: " + text);
}

std::string MemoryPasteboard::string() const {
  std::lock_guard lock(mutex_);
  return text_;
}

void XdgWorkspace::revealInFolder(const std::string& path) {
  const auto slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  (void)runner_.eseguiShellCommand(opener_, {folder});
}

void XdgWorkspace::openFile(const std::string& path) { (void)runner_.eseguiShellCommand(opener_, {path}); }

}  // namespace halvex
