#pragma once
// Property lists to and from bytes, through libplist: XML and binary are read, XML or binary
// written. Parsing never throws: a text that is no property list gives an error message.

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "runtime/Plist.h"

namespace halvex::plist {

struct ParseError {
  std::string message;
};

// Reads either form; the form is recognised by the binary header.
std::variant<Value, ParseError> parse(std::string_view bytes);
std::string toXml(const Value& value);
std::string toBinary(const Value& value);

// An XML array written through libplist a slice of items at a time: each slice becomes libplist's
// nodes, is written, and its nodes are freed before the next one is built. A large document so
// never holds all its nodes at once, and the allocator reuses the same few megabytes instead of
// freeing (and consolidating) a tree of a million nodes. The text is the one toXml would write
// for the whole array.
class XmlArrayWriter {
 public:
  explicit XmlArrayWriter(std::size_t itemsPerSlice = 128);
  ~XmlArrayWriter();
  XmlArrayWriter(const XmlArrayWriter&) = delete;
  XmlArrayWriter& operator=(const XmlArrayWriter&) = delete;

  // The fields of one dictionary item, made straight into libplist's nodes. Keys are written in
  // the order they are given; give them sorted to match the dictionaries of the value type.
  class DictionaryItem {
   public:
    void string(const char* key, const std::string& value);
    void integer(const char* key, std::int64_t value);
    void boolean(const char* key, bool value);
    void strings(const char* key, const std::vector<std::string>& values);

   private:
    friend class XmlArrayWriter;
    explicit DictionaryItem(void* node) : node_(node) {}
    void* node_;
  };

  void append(const Value& item);
  // For the items a document has thousands of: no value of our own is built and freed for them.
  template <class Fill>
  void appendDictionary(Fill&& fill) {
    DictionaryItem item(beginDictionary());
    fill(item);
    endItem();
  }
  // The whole document; the writer is empty afterwards.
  std::string finish();

 private:
  void* beginDictionary();
  void endItem();
  void writeSlice();

  std::size_t itemsPerSlice_;
  std::size_t itemsInSlice_ = 0;
  void* slice_;
  std::vector<std::string> pieces_;  // the document's head, then each slice's items
  std::string tail_;                 // from the array's closing tag to the end
};

}  // namespace halvex::plist
