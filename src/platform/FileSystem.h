#pragma once
// File-system questions and whole-file reads and writes.

#include <optional>
#include <string>

namespace halvex {

class FileSystem {
 public:
  virtual ~FileSystem() = default;
  virtual bool fileExists(const std::string& path) const = 0;
  virtual bool isDirectory(const std::string& path) const = 0;
  virtual bool isExecutable(const std::string& path) const = 0;
  virtual std::optional<std::string> readFile(const std::string& path) const = 0;
  // Writes through a temporary file and a rename, so a reader never sees half a file. Makes the
  // missing parent directories of per-user files.
  virtual bool writeFileAtomically(const std::string& path, const std::string& bytes) = 0;
  virtual bool removeFile(const std::string& path) = 0;
};

}  // namespace halvex
