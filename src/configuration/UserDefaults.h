#pragma once
// The per-user defaults database: one property-list dictionary in one file
// ($XDG_CONFIG_HOME/halvex/defaults.plist), read when the store is made and written whole,
// atomically, after every change. Safe to use from any thread.

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "platform/FileSystem.h"
#include "runtime/Graphics.h"
#include "runtime/Plist.h"

namespace halvex {

class UserDefaults {
 public:
  // Reads the file when it exists; a missing or unreadable file starts an empty database.
  UserDefaults(FileSystem& fileSystem, std::string path);

  bool contains(const std::string& key) const;
  std::optional<plist::Value> objectForKey(const std::string& key) const;
  // Typed reads: nothing for a missing key or a value of another kind. Numbers read as numbers
  // whatever their stored kind (a bool as 0 or 1, an integer as a double).
  std::optional<bool> boolForKey(const std::string& key) const;
  std::optional<std::int64_t> integerForKey(const std::string& key) const;
  std::optional<double> doubleForKey(const std::string& key) const;
  std::optional<std::string> stringForKey(const std::string& key) const;

  void setObject(const std::string& key, plist::Value value);
  void setBool(const std::string& key, bool value) { setObject(key, plist::Value(value)); }
  void setInteger(const std::string& key, std::int64_t value) { setObject(key, plist::Value(value)); }
  void setDouble(const std::string& key, double value) { setObject(key, plist::Value(value)); }
  void removeObjectForKey(const std::string& key);

  // Colours are kept as data: a keyed archive of the colour's components.
  void setColor(const std::string& key, const Color& color);
  std::optional<Color> colorForKey(const std::string& key) const;
  static plist::Data archivedColor(const Color& color);
  static std::optional<Color> unarchivedColor(const plist::Data& data);

  // Writes the database now; false when the write failed. Changes are written as they are made,
  // so this only repeats the last write.
  bool synchronize();

  const std::string& path() const { return path_; }

 private:
  bool writeLocked();

  FileSystem& fileSystem_;
  std::string path_;
  mutable std::mutex mutex_;
  plist::Dictionary values_;
};

}  // namespace halvex
