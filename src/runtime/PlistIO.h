#pragma once
// Property lists to and from bytes, through libplist: XML and binary are read, XML or binary
// written. Parsing never throws: a text that is no property list gives an error message.

#include <string>
#include <string_view>
#include <variant>

#include "runtime/Plist.h"

namespace halvex::plist {

struct ParseError {
  std::string message;
};

// Reads either form; the form is recognised by the binary header.
std::variant<Value, ParseError> parse(std::string_view bytes);
std::string toXml(const Value& value);
std::string toBinary(const Value& value);

}  // namespace halvex::plist
