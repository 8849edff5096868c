#pragma once

#include "platform/FileSystem.h"

namespace halvex {

class LinuxFileSystem final : public FileSystem {
 public:
  bool fileExists(const std::string& path) const override;
  bool isDirectory(const std::string& path) const override;
  bool isExecutable(const std::string& path) const override;
  std::optional<std::string> readFile(const std::string& path) const override;
  bool writeFileAtomically(const std::string& path, const std::string& bytes) override;
  bool removeFile(const std::string& path) override;
};

}  // namespace halvex
