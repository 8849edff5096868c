#include "runtime/Plist.h"

#include <algorithm>
#include <stdexcept>

namespace halvex::plist {

Dictionary::Dictionary(std::initializer_list<std::pair<std::string, Value>> entries) {
  reserve(entries.size());
  for (const auto& [key, value] : entries) (*this)[key] = value;
}

void Dictionary::reserve(std::size_t count) {
  keys_.reserve(count);
  values_.reserve(count);
}

std::size_t Dictionary::lowerBound(std::string_view key) const {
  return static_cast<std::size_t>(std::lower_bound(keys_.begin(), keys_.end(), key,
                                                   [](const std::string& a, std::string_view b) { return a < b; }) -
                                  keys_.begin());
}

const Value* Dictionary::find(std::string_view key) const {
  const auto i = lowerBound(key);
  return (i < keys_.size() && keys_[i] == key) ? &values_[i] : nullptr;
}

Value* Dictionary::find(std::string_view key) {
  const auto i = lowerBound(key);
  return (i < keys_.size() && keys_[i] == key) ? &values_[i] : nullptr;
}

Value& Dictionary::operator[](std::string_view key) {
  const auto i = lowerBound(key);
  if (i < keys_.size() && keys_[i] == key) return values_[i];
  keys_.insert(keys_.begin() + static_cast<std::ptrdiff_t>(i), std::string(key));
  return *values_.insert(values_.begin() + static_cast<std::ptrdiff_t>(i), Value{});
}

void Dictionary::set(std::string_view key, Value value) { (*this)[key] = std::move(value); }

bool Dictionary::erase(std::string_view key) {
  const auto i = lowerBound(key);
  if (i >= keys_.size() || keys_[i] != key) return false;
  keys_.erase(keys_.begin() + static_cast<std::ptrdiff_t>(i));
  values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(i));
  return true;
}

const Value& Dictionary::valueAt(std::size_t i) const {
  if (i >= values_.size()) throw std::out_of_range("plist dictionary index");
  return values_[i];
}

bool Dictionary::operator==(const Dictionary& other) const { return keys_ == other.keys_ && values_ == other.values_; }

std::optional<bool> Value::asBool() const {
  if (auto b = std::get_if<bool>(&v_)) return *b;
  return std::nullopt;
}

std::optional<std::int64_t> Value::asInteger() const {
  if (auto i = std::get_if<std::int64_t>(&v_)) return *i;
  return std::nullopt;
}

std::optional<double> Value::asReal() const {
  if (auto d = std::get_if<double>(&v_)) return *d;
  if (auto i = std::get_if<std::int64_t>(&v_)) return static_cast<double>(*i);
  return std::nullopt;
}

const char* typeName(Value::Type type) {
  switch (type) {
    case Value::Type::Null: return "null";
    case Value::Type::Boolean: return "boolean";
    case Value::Type::Integer: return "integer";
    case Value::Type::Real: return "real";
    case Value::Type::String: return "string";
    case Value::Type::Data: return "data";
    case Value::Type::Date: return "date";
    case Value::Type::Uid: return "uid";
    case Value::Type::Array: return "array";
    case Value::Type::Dictionary: return "dictionary";
  }
  return "unknown";
}

}  // namespace halvex::plist
