#pragma once
// The property-list value type of the whole program: what configurations, snapshots, user
// defaults and notification user info are made of. Reading and writing files is in PlistIO.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace halvex::plist {

class Value;
using Array = std::vector<Value>;

struct Data {
  std::vector<std::uint8_t> bytes;
  bool operator==(const Data&) const = default;
};

// Seconds since 2001-01-01 00:00:00 UTC, the reference date of the property-list format.
struct Date {
  double secondsSinceReference = 0;
  bool operator==(const Date&) const = default;
};

// The reference type of keyed archives.
struct Uid {
  std::uint64_t value = 0;
  bool operator==(const Uid&) const = default;
};

// A dictionary with keys kept in sorted order, so written files do not depend on insertion.
class Dictionary {
 public:
  Dictionary() = default;
  Dictionary(std::initializer_list<std::pair<std::string, Value>> entries);

  const Value* find(std::string_view key) const;
  Value* find(std::string_view key);
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  // Inserts the key (with a null value) when it is absent.
  Value& operator[](std::string_view key);
  void set(std::string_view key, Value value);
  void reserve(std::size_t count);
  bool erase(std::string_view key);
  std::size_t size() const { return keys_.size(); }
  bool empty() const { return keys_.empty(); }
  const std::vector<std::string>& keys() const { return keys_; }
  const Value& valueAt(std::size_t i) const;

  bool operator==(const Dictionary& other) const;

 private:
  std::size_t lowerBound(std::string_view key) const;
  std::vector<std::string> keys_;
  std::vector<Value> values_;
};

class Value {
 public:
  enum class Type { Null, Boolean, Integer, Real, String, Data, Date, Uid, Array, Dictionary };

  Value() = default;
  Value(bool b) : v_(b) {}
  Value(int i) : v_(std::int64_t{i}) {}
  Value(std::int64_t i) : v_(i) {}
  Value(double d) : v_(d) {}
  Value(const char* s) : v_(std::string(s)) {}
  Value(std::string s) : v_(std::move(s)) {}
  Value(std::string_view s) : v_(std::string(s)) {}
  Value(plist::Data d) : v_(std::move(d)) {}
  Value(plist::Date d) : v_(d) {}
  Value(plist::Uid u) : v_(u) {}
  Value(plist::Array a) : v_(std::move(a)) {}
  Value(plist::Dictionary d) : v_(std::move(d)) {}

  Type type() const { return static_cast<Type>(v_.index()); }
  bool isNull() const { return type() == Type::Null; }

  // Typed views: null (or nullopt) when the value is of another type.
  std::optional<bool> asBool() const;
  std::optional<std::int64_t> asInteger() const;
  // Reals, and integers read as reals (a number is a number to the readers of settings).
  std::optional<double> asReal() const;
  const std::string* asString() const { return std::get_if<std::string>(&v_); }
  const plist::Data* asData() const { return std::get_if<plist::Data>(&v_); }
  const plist::Date* asDate() const { return std::get_if<plist::Date>(&v_); }
  const plist::Uid* asUid() const { return std::get_if<plist::Uid>(&v_); }
  const plist::Array* asArray() const { return std::get_if<plist::Array>(&v_); }
  plist::Array* asArray() { return std::get_if<plist::Array>(&v_); }
  const plist::Dictionary* asDictionary() const { return std::get_if<plist::Dictionary>(&v_); }
  plist::Dictionary* asDictionary() { return std::get_if<plist::Dictionary>(&v_); }

  bool operator==(const Value& other) const { return v_ == other.v_; }

 private:
  std::variant<std::monostate, bool, std::int64_t, double, std::string, plist::Data, plist::Date, plist::Uid,
               plist::Array, plist::Dictionary>
      v_;
};

const char* typeName(Value::Type type);

}  // namespace halvex::plist
