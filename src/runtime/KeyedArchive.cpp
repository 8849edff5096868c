#include "runtime/KeyedArchive.h"

#include <cstring>
#include <unordered_map>

#include "runtime/PlistIO.h"

namespace halvex::keyedarchive {
namespace {

using plist::Array;
using plist::Dictionary;
using plist::Uid;
using plist::Value;

constexpr std::int64_t kArchiveVersion = 100000;
constexpr int kMaxDepth = 512;

class Writer {
 public:
  Writer() { objects_.emplace_back("$null"); }

  Uid encode(const Value& value) {
    switch (value.type()) {
      case Value::Type::Null: return Uid{0};
      case Value::Type::Boolean: return scalar(std::string(*value.asBool() ? "b1" : "b0"), value);
      case Value::Type::Integer: return scalar(bytesKey('i', *value.asInteger()), value);
      case Value::Type::Real: return scalar(bytesKey('r', *value.asReal()), value);
      case Value::Type::String: return scalar("s" + *value.asString(), value);
      case Value::Type::Data: {
        const auto& bytes = value.asData()->bytes;
        return scalar("d" + std::string(bytes.begin(), bytes.end()), value);
      }
      // A reference has no meaning inside an archived graph: it travels as its number.
      case Value::Type::Uid: {
        const Value number(static_cast<std::int64_t>(value.asUid()->value));
        return scalar(bytesKey('i', *number.asInteger()), number);
      }
      case Value::Type::Date: {
        const auto at = reserve();
        objects_[at] = Dictionary{{"NS.time", Value(value.asDate()->secondsSinceReference)},
                                  {"$class", Value(classUid("NSDate"))}};
        return Uid{at};
      }
      case Value::Type::Array: {
        const auto at = reserve();
        Array refs;
        refs.reserve(value.asArray()->size());
        for (const auto& item : *value.asArray()) refs.emplace_back(encode(item));
        objects_[at] = Dictionary{{"NS.objects", Value(std::move(refs))}, {"$class", Value(classUid("NSArray"))}};
        return Uid{at};
      }
      case Value::Type::Dictionary: {
        const auto at = reserve();
        const auto& d = *value.asDictionary();
        Array keys;
        Array refs;
        keys.reserve(d.size());
        refs.reserve(d.size());
        for (std::size_t i = 0; i < d.size(); ++i) {
          keys.emplace_back(encode(Value(d.keys()[i])));
          refs.emplace_back(encode(d.valueAt(i)));
        }
        objects_[at] = Dictionary{{"NS.keys", Value(std::move(keys))},
                                  {"NS.objects", Value(std::move(refs))},
                                  {"$class", Value(classUid("NSDictionary"))}};
        return Uid{at};
      }
    }
    return Uid{0};
  }

  Value finish(Uid root) {
    return Value(Dictionary{{"$archiver", Value("NSKeyedArchiver")},
                            {"$version", Value(kArchiveVersion)},
                            {"$top", Value(Dictionary{{"root", Value(root)}})},
                            {"$objects", Value(std::move(objects_))}});
  }

 private:
  template <class T>
  static std::string bytesKey(char tag, T number) {
    std::string key(1 + sizeof(T), tag);
    std::memcpy(key.data() + 1, &number, sizeof(T));
    return key;
  }

  std::uint64_t reserve() {
    objects_.emplace_back();
    return objects_.size() - 1;
  }

  // Equal scalars are stored once, as the platform's archiver does for its value objects.
  Uid scalar(std::string key, const Value& value) {
    auto [it, inserted] = unique_.try_emplace(std::move(key), objects_.size());
    if (inserted) objects_.push_back(value);
    return Uid{it->second};
  }

  Uid classUid(const std::string& name) {
    auto [it, inserted] = classes_.try_emplace(name, 0);
    if (inserted) {
      it->second = objects_.size();
      objects_.emplace_back(
          Dictionary{{"$classname", Value(name)}, {"$classes", Value(Array{Value(name), Value("NSObject")})}});
    }
    return Uid{it->second};
  }

  Array objects_;
  std::unordered_map<std::string, std::uint64_t> unique_;
  std::unordered_map<std::string, std::uint64_t> classes_;
};

class Reader {
 public:
  explicit Reader(const Array& objects) : objects_(objects) {}

  bool decode(const Value& reference, Value& out, int depth) {
    const Uid* uid = reference.asUid();
    if (!uid) return fail("an archived reference is not a UID");
    if (depth > kMaxDepth) return fail("archive nested too deeply or cyclic");
    if (uid->value == 0) {
      out = Value();
      return true;
    }
    if (uid->value >= objects_.size()) return fail("UID " + std::to_string(uid->value) + " out of range");
    const Value& object = objects_[uid->value];
    const Dictionary* dict = object.asDictionary();
    if (!dict) {
      if (object.type() == Value::Type::Array || object.type() == Value::Type::Uid)
        return fail("object " + std::to_string(uid->value) + " is not an archived object");
      out = object;
      return true;
    }
    std::string className;
    if (!classNameOf(*dict, className)) return false;

    if (className == "NSArray" || className == "NSMutableArray" || className == "NSSet" ||
        className == "NSMutableSet" || className == "NSOrderedSet" || className == "NSMutableOrderedSet") {
      const Array* refs = arrayAt(*dict, "NS.objects");
      if (!refs) return false;
      Array items;
      items.reserve(refs->size());
      for (const auto& ref : *refs) {
        Value item;
        if (!decode(ref, item, depth + 1)) return false;
        items.push_back(std::move(item));
      }
      out = Value(std::move(items));
      return true;
    }
    if (className == "NSDictionary" || className == "NSMutableDictionary") {
      const Array* keys = arrayAt(*dict, "NS.keys");
      const Array* refs = arrayAt(*dict, "NS.objects");
      if (!keys || !refs) return false;
      if (keys->size() != refs->size())
        return fail("dictionary with " + std::to_string(keys->size()) + " keys and " + std::to_string(refs->size()) +
                    " objects");
      Dictionary result;
      for (std::size_t i = 0; i < keys->size(); ++i) {
        Value key;
        Value item;
        if (!decode((*keys)[i], key, depth + 1) || !decode((*refs)[i], item, depth + 1)) return false;
        if (!key.asString()) return fail("dictionary key is not a string");
        result.set(*key.asString(), std::move(item));
      }
      out = Value(std::move(result));
      return true;
    }
    if (className == "NSDate") {
      const Value* time = dict->find("NS.time");
      if (!time || !time->asReal()) return fail("date without NS.time");
      out = Value(plist::Date{*time->asReal()});
      return true;
    }
    if (className == "NSString" || className == "NSMutableString") {
      const Value* s = dict->find("NS.string");
      if (!s || !s->asString()) return fail("string without NS.string");
      out = *s;
      return true;
    }
    if (className == "NSData" || className == "NSMutableData") {
      const Value* bytes = dict->find("NS.bytes");
      if (!bytes || !bytes->asData()) return fail("data without NS.bytes");
      out = *bytes;
      return true;
    }
    return fail("unsupported archived class " + className);
  }

  const std::string& error() const { return error_; }

 private:
  bool fail(std::string message) {
    error_ = std::move(message);
    return false;
  }

  const Array* arrayAt(const Dictionary& dict, const char* key) {
    const Value* v = dict.find(key);
    if (!v || !v->asArray()) {
      fail(std::string("archived object without ") + key);
      return nullptr;
    }
    return v->asArray();
  }

  bool classNameOf(const Dictionary& dict, std::string& name) {
    const Value* cls = dict.find("$class");
    if (!cls || !cls->asUid()) return fail("archived object without $class");
    const auto index = cls->asUid()->value;
    if (index >= objects_.size()) return fail("class UID out of range");
    const Dictionary* classDict = objects_[index].asDictionary();
    const Value* className = classDict ? classDict->find("$classname") : nullptr;
    if (!className || !className->asString()) return fail("class dictionary without $classname");
    name = *className->asString();
    return true;
  }

  const Array& objects_;
  std::string error_;
};

}  // namespace

plist::Value archive(const plist::Value& root) {
  Writer writer;
  const Uid top = writer.encode(root);
  return writer.finish(top);
}

plist::Data archivedDataWithRootObject(const plist::Value& root) {
  const std::string bytes = plist::toBinary(archive(root));
  return plist::Data{std::vector<std::uint8_t>(bytes.begin(), bytes.end())};
}

std::variant<plist::Value, ArchiveError> unarchive(const plist::Value& archived) {
  const Dictionary* dict = archived.asDictionary();
  if (!dict) return ArchiveError{"an archive is a dictionary"};
  const Value* archiver = dict->find("$archiver");
  if (!archiver || !archiver->asString() || *archiver->asString() != "NSKeyedArchiver")
    return ArchiveError{"not a keyed archive ($archiver)"};
  const Value* objects = dict->find("$objects");
  if (!objects || !objects->asArray()) return ArchiveError{"keyed archive without $objects"};
  const Value* top = dict->find("$top");
  const Value* root = top && top->asDictionary() ? top->asDictionary()->find("root") : nullptr;
  if (!root) return ArchiveError{"keyed archive without $top.root"};
  Reader reader(*objects->asArray());
  Value out;
  if (!reader.decode(*root, out, 0)) return ArchiveError{reader.error()};
  return out;
}

std::variant<plist::Value, ArchiveError> unarchiveObjectWithData(const plist::Data& data) {
  const std::string_view bytes(reinterpret_cast<const char*>(data.bytes.data()), data.bytes.size());
  auto parsed = plist::parse(bytes);
  if (auto* error = std::get_if<plist::ParseError>(&parsed)) return ArchiveError{error->message};
  return unarchive(std::get<plist::Value>(parsed));
}

}  // namespace halvex::keyedarchive
