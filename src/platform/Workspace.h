#pragma once
// Showing files to the person: a file's folder in the desktop's file manager, or a file in the
// program that opens it. Paths travel as arguments, never inside a command text.

#include <string>

namespace halvex {

class Workspace {
 public:
  virtual ~Workspace() = default;
  // Opens the folder that holds `path`.
  virtual void revealInFolder(const std::string& path) = 0;
  // Opens the file (a log, a document) with the desktop's program for it.
  virtual void openFile(const std::string& path) = 0;
};

}  // namespace halvex
