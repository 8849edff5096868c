#include "link/ConnectionEvents.h"

#include <algorithm>
#include <cstring>

namespace halvex {

std::optional<std::string> connectionLineOfRecord(const char* data, std::size_t length) {
  using namespace connectionevents;
  if (length < kLineOffset) return std::nullopt;
  std::uint32_t code = 0;
  std::memcpy(&code, data + kCodeOffset, sizeof code);
  if (code != kConnectionCode) return std::nullopt;
  // Bytes past the end of a short record count as the zeros of the reader's cleared buffer.
  const std::size_t available = std::min(length, kLineOffset + kLineSize) - kLineOffset;
  const char* text = data + kLineOffset;
  return std::string(text, ::strnlen(text, available));
}

std::vector<std::string> connectionFields(std::string_view line) {
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == '\n') continue;
    if (c == ' ') {
      fields.emplace_back();
    } else {
      fields.back().push_back(c);
    }
  }
  return fields;
}

}  // namespace halvex
