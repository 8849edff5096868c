#include "platform/linux/LinuxSystemUsers.h"

#include <pwd.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>

namespace halvex {
namespace {

// A picture's header sits in its first bytes, a JPEG's size after its metadata: enough for both.
constexpr std::size_t kHeaderBytes = std::size_t{256} * 1024;

std::uint32_t bigEndian(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

std::optional<std::pair<double, double>> jpegSize(std::string_view bytes) {
  std::size_t at = 2;
  while (at + 9 <= bytes.size()) {
    if (static_cast<unsigned char>(bytes[at]) != 0xFF) return std::nullopt;
    const auto marker = static_cast<unsigned char>(bytes[at + 1]);
    if (marker == 0xFF) {
      ++at;  // padding
      continue;
    }
    const std::uint32_t length = bigEndian(bytes, at + 2, 2);
    // The frame headers (SOF0..SOF15 but for the table markers C4, C8, CC) carry the size.
    if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC)
      return std::pair<double, double>(bigEndian(bytes, at + 7, 2), bigEndian(bytes, at + 5, 2));
    if (length < 2) return std::nullopt;
    at += 2 + length;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::pair<double, double>> pictureSize(std::string_view bytes) {
  if (bytes.size() >= 24 && bytes.substr(0, 8) == "\x89PNG\r\n\x1a\n" && bytes.substr(12, 4) == "IHDR")
    return std::pair<double, double>(bigEndian(bytes, 16, 4), bigEndian(bytes, 20, 4));
  if (bytes.size() >= 10 && (bytes.substr(0, 6) == "GIF87a" || bytes.substr(0, 6) == "GIF89a")) {
    const auto little = [&](std::size_t at) {
      return static_cast<unsigned char>(bytes[at]) | (static_cast<unsigned char>(bytes[at + 1]) << 8);
    };
    return std::pair<double, double>(little(6), little(8));
  }
  if (bytes.size() >= 4 && bytes.substr(0, 2) == "\xFF\xD8") return jpegSize(bytes);
  return std::nullopt;
}

std::pair<std::int64_t, std::int64_t> loginUidRange(std::string_view loginDefs) {
  std::pair<std::int64_t, std::int64_t> range{1000, 60000};
  std::istringstream lines{std::string(loginDefs)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string key, value;
    words >> key >> value;
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc{} || end != value.data() + value.size()) continue;
    if (key == "UID_MIN") range.first = number;
    if (key == "UID_MAX") range.second = number;
  }
  return range;
}

std::vector<SystemUser> LinuxSystemUsers::systemUsers() const {
  std::ifstream defs(loginDefs_);
  const std::string text{std::istreambuf_iterator<char>(defs), std::istreambuf_iterator<char>()};
  const auto [low, high] = loginUidRange(text);

  // The walk of the database is one cursor for the whole process.
  static std::mutex walk;
  std::vector<SystemUser> users;
  {
    std::lock_guard lock(walk);
    ::setpwent();
    while (const passwd* entry = ::getpwent()) {
      const auto uid = static_cast<std::int64_t>(entry->pw_uid);
      if (uid == 0 || (uid >= low && uid <= high)) users.push_back(SystemUser{entry->pw_name, std::nullopt});
    }
    ::endpwent();
  }
  for (auto& user : users) user.image = pictureOf(user.posixName);
  return users;
}

std::optional<UserPicture> LinuxSystemUsers::pictureOf(const std::string& name) const {
  // A name that could climb out of the folder has no picture.
  if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..") return std::nullopt;
  const std::string path = iconsDirectory_ + "/" + name;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string head(kHeaderBytes, '\0');
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<std::size_t>(file.gcount()));
  UserPicture picture{path, 0, 0};
  if (const auto size = pictureSize(head)) std::tie(picture.width, picture.height) = *size;
  return picture;
}

}  // namespace halvex
