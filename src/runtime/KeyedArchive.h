#pragma once
// Keyed archives: a property-list value graph flattened into the platform's keyed-archive layout,
// so that encoded configurations stay readable by other tools.
//
//   { "$archiver": "NSKeyedArchiver", "$version": 100000,
//     "$top": { "root": UID(1) },
//     "$objects": [ "$null", <objects...>, <class dictionaries...> ] }
//
// Strings, numbers, booleans and data stand in "$objects" as themselves and are stored once per
// distinct value. Arrays are { "NS.objects": [UIDs], "$class": UID }, dictionaries
// { "NS.keys": [UIDs], "NS.objects": [UIDs], "$class": UID }, dates { "NS.time": real, "$class" };
// a class dictionary is { "$classname": name, "$classes": [name, ..., "NSObject"] }. A null value
// is UID 0, "$null". Reading accepts the mutable and immutable class names alike.

#include <string>
#include <variant>

#include "runtime/Plist.h"

namespace halvex::keyedarchive {

struct ArchiveError {
  std::string message;
};

// The archive as a property-list value (write it with plist::toXml or plist::toBinary).
plist::Value archive(const plist::Value& root);
// The archive as binary property-list bytes, as the platform's archiver makes it.
plist::Data archivedDataWithRootObject(const plist::Value& root);

// The root object of an archive, or why it is none.
std::variant<plist::Value, ArchiveError> unarchive(const plist::Value& archive);
std::variant<plist::Value, ArchiveError> unarchiveObjectWithData(const plist::Data& data);

}  // namespace halvex::keyedarchive
