#pragma once
// Files and directories in memory: a FileSystem and a DirectoryListing over one map of paths.
// A file set to nothing exists but cannot be read.

#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "platform/DirectoryListing.h"
#include "platform/FileSystem.h"

namespace halvex::test {

class MemoryFiles final : public FileSystem, public DirectoryListing {
 public:
  void addFile(const std::string& path, std::optional<std::string> content) {
    std::lock_guard lock(mutex_);
    files_[path] = std::move(content);
  }
  void addDirectory(const std::string& path) {
    std::lock_guard lock(mutex_);
    directories_.insert(path);
  }

  bool fileExists(const std::string& path) const override {
    std::lock_guard lock(mutex_);
    return files_.count(path) > 0 || directories_.count(path) > 0;
  }
  bool isDirectory(const std::string& path) const override {
    std::lock_guard lock(mutex_);
    return directories_.count(path) > 0;
  }
  bool isExecutable(const std::string&) const override { return false; }
  std::optional<std::string> readFile(const std::string& path) const override {
    std::lock_guard lock(mutex_);
    const auto it = files_.find(path);
    return it == files_.end() ? std::nullopt : it->second;
  }
  bool writeFileAtomically(const std::string& path, const std::string& bytes) override {
    addFile(path, bytes);
    return true;
  }
  bool removeFile(const std::string& path) override {
    std::lock_guard lock(mutex_);
    return files_.erase(path) > 0;
  }
  std::vector<std::string> list(const std::string& directory) const override {
    std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    const std::string prefix = directory + "/";
    for (const auto& [path, content] : files_)
      if (path.rfind(prefix, 0) == 0 && path.find('/', prefix.size()) == std::string::npos)
        names.push_back(path.substr(prefix.size()));
    return names;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::optional<std::string>> files_;
  std::set<std::string> directories_;
};

}  // namespace halvex::test
