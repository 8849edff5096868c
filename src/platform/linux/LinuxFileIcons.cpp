#include "platform/linux/LinuxFileIcons.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace halvex {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> defaultApplicationDirectories() {
  std::vector<std::string> dirs;
  if (const char* dataHome = std::getenv("XDG_DATA_HOME"); dataHome != nullptr && *dataHome != '\0') {
    dirs.push_back(std::string(dataHome) + "/applications");
  } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
    dirs.push_back(std::string(home) + "/.local/share/applications");
  }
  std::string dataDirs = "/usr/local/share:/usr/share";
  if (const char* env = std::getenv("XDG_DATA_DIRS"); env != nullptr && *env != '\0') dataDirs = env;
  std::stringstream stream(dataDirs);
  for (std::string dir; std::getline(stream, dir, ':');) {
    if (!dir.empty()) dirs.push_back(dir + "/applications");
  }
  return dirs;
}

std::string trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t\r");
  return std::string(text.substr(first, last - first + 1));
}

// The program of an Exec line: its first word, unquoted, skipping an "env VAR=value" prefix.
std::string execProgram(const std::string& exec) {
  std::stringstream words(exec);
  std::string word;
  bool afterEnv = false;
  while (words >> word) {
    if (!word.empty() && word.front() == '"') word.erase(0, 1);
    if (!word.empty() && word.back() == '"') word.pop_back();
    if (!afterEnv && (word == "env" || word == "/usr/bin/env")) {
      afterEnv = true;
      continue;
    }
    if (afterEnv && word.find('=') != std::string::npos) continue;
    return word;
  }
  return {};
}

struct EntryKeys {
  std::string icon;
  std::string exec;
  std::string tryExec;
};

EntryKeys readEntryKeys(const std::string& text) {
  EntryKeys keys;
  std::stringstream lines(text);
  bool inMainGroup = false;
  for (std::string line; std::getline(lines, line);) {
    const std::string t = trim(line);
    if (t.empty() || t.front() == '#') continue;
    if (t.front() == '[') {
      inMainGroup = t == "[Desktop Entry]";
      continue;
    }
    if (!inMainGroup) continue;
    const auto eq = t.find('=');
    if (eq == std::string::npos) continue;
    const std::string key = trim(std::string_view(t).substr(0, eq));
    const std::string value = trim(std::string_view(t).substr(eq + 1));
    if (key == "Icon") keys.icon = value;
    else if (key == "Exec") keys.exec = value;
    else if (key == "TryExec") keys.tryExec = value;
  }
  return keys;
}

std::string readWhole(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

std::string iconForExtension(std::string extension) {
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  static const std::map<std::string, std::string> byExtension = {{".sh", "text-x-script"},
                                                                 {".py", "text-x-script"},
                                                                 {".pl", "text-x-script"},
                                                                 {".txt", "text-plain"},
                                                                 {".conf", "text-x-generic"},
                                                                 {".html", "text-html"},
                                                                 {".pdf", "application-pdf"},
                                                                 {".png", "image-x-generic"},
                                                                 {".jpg", "image-x-generic"},
                                                                 {".svg", "image-x-generic"},
                                                                 {".zip", "package-x-generic"},
                                                                 {".gz", "package-x-generic"},
                                                                 {".deb", "package-x-generic"},
                                                                 {".so", "application-x-sharedlib"},
                                                                 {".appimage", "application-x-executable"},
                                                                 {".jar", "application-x-java-archive"}};
  const auto it = byExtension.find(extension);
  return it == byExtension.end() ? "text-x-generic" : it->second;
}

}  // namespace

LinuxFileIcons::LinuxFileIcons() : applicationDirectories_(defaultApplicationDirectories()) {}

LinuxFileIcons::LinuxFileIcons(std::vector<std::string> applicationDirectories)
    : applicationDirectories_(std::move(applicationDirectories)) {}

std::string LinuxFileIcons::desktopEntryIcon(const std::string& text) { return readEntryKeys(text).icon; }

const std::map<std::string, std::string>& LinuxFileIcons::programIcons() const {
  std::call_once(indexOnce_, [this] {
    for (const auto& dir : applicationDirectories_) {
      std::error_code error;
      for (fs::recursive_directory_iterator it(dir, error), end; !error && it != end; it.increment(error)) {
        if (it->path().extension() != ".desktop") continue;
        const EntryKeys keys = readEntryKeys(readWhole(it->path()));
        if (keys.icon.empty()) continue;
        for (const auto& command : {execProgram(keys.tryExec), execProgram(keys.exec)}) {
          if (command.empty()) continue;
          // Earlier folders win: the user's entries come before the system's.
          programIcons_.emplace(command, keys.icon);
          programIcons_.emplace(fs::path(command).filename().string(), keys.icon);
        }
      }
    }
  });
  return programIcons_;
}

std::string LinuxFileIcons::iconNameForFile(const std::string& path) const {
  std::error_code error;
  const fs::path file(path);
  const auto status = fs::status(file, error);
  if (error || !fs::exists(status)) return "text-x-generic";
  if (fs::is_directory(status)) return "folder";
  if (file.extension() == ".desktop") {
    const std::string icon = desktopEntryIcon(readWhole(file));
    return icon.empty() ? "application-x-executable" : icon;
  }
  if (::access(path.c_str(), X_OK) == 0) {
    const auto& icons = programIcons();
    for (const auto& key : {path, file.filename().string()}) {
      if (const auto it = icons.find(key); it != icons.end()) return it->second;
    }
    return "application-x-executable";
  }
  return iconForExtension(file.extension().string());
}

}  // namespace halvex
