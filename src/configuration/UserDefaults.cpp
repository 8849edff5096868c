#include "configuration/UserDefaults.h"

#include "runtime/KeyedArchive.h"
#include "runtime/PlistIO.h"

namespace halvex {

UserDefaults::UserDefaults(FileSystem& fileSystem, std::string path) : fileSystem_(fileSystem), path_(std::move(path)) {
  const auto bytes = fileSystem_.readFile(path_);
  if (!bytes) return;
  auto parsed = plist::parse(*bytes);
  if (auto* value = std::get_if<plist::Value>(&parsed))
    if (auto* dict = value->asDictionary()) values_ = std::move(*dict);
}

bool UserDefaults::contains(const std::string& key) const {
  std::lock_guard lock(mutex_);
  return values_.contains(key);
}

std::optional<plist::Value> UserDefaults::objectForKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  const auto* v = values_.find(key);
  return v ? std::optional<plist::Value>(*v) : std::nullopt;
}

std::optional<bool> UserDefaults::boolForKey(const std::string& key) const {
  const auto v = objectForKey(key);
  if (!v) return std::nullopt;
  if (auto b = v->asBool()) return b;
  if (auto i = v->asInteger()) return *i != 0;
  if (auto d = v->asReal()) return *d != 0;
  return std::nullopt;
}

std::optional<std::int64_t> UserDefaults::integerForKey(const std::string& key) const {
  const auto v = objectForKey(key);
  if (!v) return std::nullopt;
  if (auto i = v->asInteger()) return i;
  if (auto b = v->asBool()) return *b ? 1 : 0;
  if (auto d = v->asReal()) return static_cast<std::int64_t>(*d);
  return std::nullopt;
}

std::optional<double> UserDefaults::doubleForKey(const std::string& key) const {
  const auto v = objectForKey(key);
  if (!v) return std::nullopt;
  if (auto d = v->asReal()) return d;
  if (auto b = v->asBool()) return *b ? 1.0 : 0.0;
  return std::nullopt;
}

std::optional<std::string> UserDefaults::stringForKey(const std::string& key) const {
  const auto v = objectForKey(key);
  if (!v || !v->asString()) return std::nullopt;
  return *v->asString();
}

void UserDefaults::setObject(const std::string& key, plist::Value value) {
  std::lock_guard lock(mutex_);
  values_.set(key, std::move(value));
  writeLocked();
}

void UserDefaults::removeObjectForKey(const std::string& key) {
  std::lock_guard lock(mutex_);
  if (values_.erase(key)) writeLocked();
}

plist::Data UserDefaults::archivedColor(const Color& color) {
  plist::Dictionary components{{"red", plist::Value(color.red)},
                               {"green", plist::Value(color.green)},
                               {"blue", plist::Value(color.blue)},
                               {"alpha", plist::Value(color.alpha)}};
  if (!color.systemName.empty()) components.set("systemName", plist::Value(color.systemName));
  return keyedarchive::archivedDataWithRootObject(plist::Value(std::move(components)));
}

std::optional<Color> UserDefaults::unarchivedColor(const plist::Data& data) {
  auto decoded = keyedarchive::unarchiveObjectWithData(data);
  const auto* value = std::get_if<plist::Value>(&decoded);
  const auto* dict = value ? value->asDictionary() : nullptr;
  if (!dict) return std::nullopt;
  auto component = [&](const char* key) -> std::optional<double> {
    const auto* v = dict->find(key);
    return v ? v->asReal() : std::nullopt;
  };
  const auto r = component("red"), g = component("green"), b = component("blue"), a = component("alpha");
  if (!r || !g || !b || !a) return std::nullopt;
  Color color = Color::rgba(*r, *g, *b, *a);
  if (const auto* name = dict->find("systemName"); name && name->asString()) color.systemName = *name->asString();
  return color;
}

void UserDefaults::setColor(const std::string& key, const Color& color) {
  setObject(key, plist::Value(archivedColor(color)));
}

std::optional<Color> UserDefaults::colorForKey(const std::string& key) const {
  const auto v = objectForKey(key);
  if (!v || !v->asData()) return std::nullopt;
  return unarchivedColor(*v->asData());
}

bool UserDefaults::synchronize() {
  std::lock_guard lock(mutex_);
  return writeLocked();
}

bool UserDefaults::writeLocked() { return fileSystem_.writeFileAtomically(path_, plist::toXml(plist::Value(values_))); }

}  // namespace halvex
