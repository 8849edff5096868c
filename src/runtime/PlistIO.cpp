#include "runtime/PlistIO.h"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>

namespace halvex::plist {
namespace {

struct NodeDeleter {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

// Depth guard: a hostile file must not exhaust the stack.
constexpr int kMaxDepth = 512;

plist_t toNode(const Value& value) {
  switch (value.type()) {
    case Value::Type::Null:
      // The format has no null; an empty string is the least surprising stand-in.
      return plist_new_string("");
    case Value::Type::Boolean: return plist_new_bool(*value.asBool() ? 1 : 0);
    case Value::Type::Integer: return plist_new_uint(static_cast<std::uint64_t>(*value.asInteger()));
    case Value::Type::Real: return plist_new_real(*value.asReal());
    case Value::Type::String: return plist_new_string(value.asString()->c_str());
    case Value::Type::Data: {
      const auto& bytes = value.asData()->bytes;
      return plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    case Value::Type::Date: {
      const double s = value.asDate()->secondsSinceReference;
      const double whole = std::floor(s);
      return plist_new_date(static_cast<std::int32_t>(whole),
                            static_cast<std::int32_t>(std::lround((s - whole) * 1e6)));
    }
    case Value::Type::Uid: return plist_new_uid(value.asUid()->value);
    case Value::Type::Array: {
      plist_t array = plist_new_array();
      for (const auto& item : *value.asArray()) plist_array_append_item(array, toNode(item));
      return array;
    }
    case Value::Type::Dictionary: {
      plist_t dict = plist_new_dict();
      const auto& d = *value.asDictionary();
      for (std::size_t i = 0; i < d.size(); ++i) plist_dict_set_item(dict, d.keys()[i].c_str(), toNode(d.valueAt(i)));
      return dict;
    }
  }
  return plist_new_string("");
}

bool fromNode(plist_t node, Value& out, int depth, std::string& error) {
  if (depth > kMaxDepth) {
    error = "property list nested too deeply";
    return false;
  }
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t b = 0;
      plist_get_bool_val(node, &b);
      out = Value(b != 0);
      return true;
    }
    case PLIST_UINT: {
      std::uint64_t u = 0;
      plist_get_uint_val(node, &u);
      // Signed integers travel as their two's complement.
      out = Value(static_cast<std::int64_t>(u));
      return true;
    }
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      out = Value(d);
      return true;
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* s = plist_get_string_ptr(node, &length);
      out = Value(std::string(s ? s : "", s ? length : 0));
      return true;
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* p = plist_get_data_ptr(node, &length);
      Data data;
      if (p)
        data.bytes.assign(reinterpret_cast<const std::uint8_t*>(p), reinterpret_cast<const std::uint8_t*>(p) + length);
      out = Value(std::move(data));
      return true;
    }
    case PLIST_DATE: {
      std::int32_t sec = 0, usec = 0;
      plist_get_date_val(node, &sec, &usec);
      out = Value(Date{static_cast<double>(sec) + static_cast<double>(usec) / 1e6});
      return true;
    }
    case PLIST_UID: {
      std::uint64_t u = 0;
      plist_get_uid_val(node, &u);
      out = Value(Uid{u});
      return true;
    }
    case PLIST_ARRAY: {
      Array array;
      array.reserve(plist_array_get_size(node));
      // An iterator, not an index: looking an item up by index walks the list from its start.
      plist_array_iter it = nullptr;
      plist_array_new_iter(node, &it);
      for (;;) {
        plist_t child = nullptr;
        plist_array_next_item(node, it, &child);
        if (!child) break;
        Value item;
        if (!fromNode(child, item, depth + 1, error)) {
          std::free(it);
          return false;
        }
        array.push_back(std::move(item));
      }
      std::free(it);
      out = Value(std::move(array));
      return true;
    }
    case PLIST_DICT: {
      Dictionary dict;
      plist_dict_iter it = nullptr;
      plist_dict_new_iter(node, &it);
      for (;;) {
        char* key = nullptr;
        plist_t child = nullptr;
        plist_dict_next_item(node, it, &key, &child);
        if (!child) {
          std::free(key);
          break;
        }
        Value item;
        const bool ok = fromNode(child, item, depth + 1, error);
        if (ok) dict.set(key ? key : "", std::move(item));
        std::free(key);
        if (!ok) {
          std::free(it);
          return false;
        }
      }
      std::free(it);
      // The XML form has no UID type: a keyed archive's references are written as a dictionary
      // whose only key is "CF$UID", and read back as UIDs.
      if (dict.size() == 1 && dict.keys()[0] == "CF$UID") {
        if (auto n = dict.valueAt(0).asInteger(); n && *n >= 0) {
          out = Value(Uid{static_cast<std::uint64_t>(*n)});
          return true;
        }
      }
      out = Value(std::move(dict));
      return true;
    }
    default: error = "unsupported property list node"; return false;
  }
}

}  // namespace

std::variant<Value, ParseError> parse(std::string_view bytes) {
  if (bytes.empty()) return ParseError{"empty file"};
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return ParseError{"file too large"};
  plist_t raw = nullptr;
  const auto length = static_cast<std::uint32_t>(bytes.size());
  if (plist_is_binary(bytes.data(), length)) {
    plist_from_bin(bytes.data(), length, &raw);
  } else {
    plist_from_xml(bytes.data(), length, &raw);
  }
  if (!raw) return ParseError{"not a property list"};
  Node node(raw);
  Value value;
  std::string error;
  if (!fromNode(raw, value, 0, error)) return ParseError{error};
  return value;
}

namespace {

// libplist's text of a node, lent to the reader for as long as it runs.
template <class Read>
void withXmlOf(plist_t node, Read&& read) {
  char* text = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(node, &text, &length);
  std::unique_ptr<char, void (*)(char*)> owned(text, plist_to_xml_free);
  read(std::string_view(text ? text : "", text ? length : 0));
}

std::string nodeToXml(plist_t node) {
  std::string out;
  withXmlOf(node, [&](std::string_view text) { out = text; });
  return out;
}

}  // namespace

std::string toXml(const Value& value) {
  Node node(toNode(value));
  return nodeToXml(static_cast<plist_t>(node.get()));
}

XmlArrayWriter::XmlArrayWriter(std::size_t itemsPerSlice)
    : itemsPerSlice_(itemsPerSlice == 0 ? 1 : itemsPerSlice), slice_(plist_new_array()) {}

XmlArrayWriter::~XmlArrayWriter() { plist_free(static_cast<plist_t>(slice_)); }

void XmlArrayWriter::append(const Value& item) {
  plist_array_append_item(static_cast<plist_t>(slice_), toNode(item));
  endItem();
}

void* XmlArrayWriter::beginDictionary() {
  plist_t dict = plist_new_dict();
  plist_array_append_item(static_cast<plist_t>(slice_), dict);
  return dict;
}

void XmlArrayWriter::endItem() {
  if (++itemsInSlice_ == itemsPerSlice_) writeSlice();
}

void XmlArrayWriter::DictionaryItem::string(const char* key, const std::string& value) {
  plist_dict_set_item(static_cast<plist_t>(node_), key, plist_new_string(value.c_str()));
}

void XmlArrayWriter::DictionaryItem::integer(const char* key, std::int64_t value) {
  plist_dict_set_item(static_cast<plist_t>(node_), key, plist_new_uint(static_cast<std::uint64_t>(value)));
}

void XmlArrayWriter::DictionaryItem::boolean(const char* key, bool value) {
  plist_dict_set_item(static_cast<plist_t>(node_), key, plist_new_bool(value ? 1 : 0));
}

void XmlArrayWriter::DictionaryItem::strings(const char* key, const std::vector<std::string>& values) {
  plist_t array = plist_new_array();
  for (const auto& value : values) plist_array_append_item(array, plist_new_string(value.c_str()));
  plist_dict_set_item(static_cast<plist_t>(node_), key, array);
}

void XmlArrayWriter::writeSlice() {
  withXmlOf(static_cast<plist_t>(slice_), [&](std::string_view text) {
    // Items of a slice sit at the same depth as in the whole array, so their text is the same;
    // the document's head is taken from the first slice and its tail from the last.
    static constexpr std::string_view kOpen = "<array>\n";
    static constexpr std::string_view kClose = "</array>";
    const auto open = text.find(kOpen);
    const auto close = text.rfind(kClose);
    // A library that wrote arrays differently would make the spliced text wrong; better no file.
    if (open == std::string_view::npos || close == std::string_view::npos || close < open + kOpen.size())
      throw std::logic_error("libplist wrote an array in a shape this writer does not know");
    if (pieces_.empty()) pieces_.emplace_back(text.substr(0, open + kOpen.size()));
    pieces_.emplace_back(text.substr(open + kOpen.size(), close - open - kOpen.size()));
    tail_ = text.substr(close);
  });
  plist_free(static_cast<plist_t>(slice_));
  slice_ = plist_new_array();
  itemsInSlice_ = 0;
}

std::string XmlArrayWriter::finish() {
  std::string out;
  if (pieces_.empty()) {
    // Never more than one slice: its text is the document.
    out = nodeToXml(static_cast<plist_t>(slice_));
  } else {
    if (itemsInSlice_ > 0) writeSlice();
    // One allocation of the final size: growing a string of megabytes by doubling would touch
    // three times as many fresh pages.
    std::size_t size = tail_.size();
    for (const auto& piece : pieces_) size += piece.size();
    out.reserve(size);
    for (const auto& piece : pieces_) out.append(piece);
    out.append(tail_);
  }
  plist_free(static_cast<plist_t>(slice_));
  slice_ = plist_new_array();
  itemsInSlice_ = 0;
  pieces_.clear();
  tail_.clear();
  return out;
}

std::string toBinary(const Value& value) {
  Node node(toNode(value));
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(static_cast<plist_t>(node.get()), &bytes, &length);
  std::string out(bytes ? bytes : "", bytes ? length : 0);
  plist_to_bin_free(bytes);
  return out;
}

}  // namespace halvex::plist
