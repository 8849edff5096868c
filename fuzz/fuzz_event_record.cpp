// Any bytes as one record of the connection-event socket, through the record's line and the
// split of the line into fields. The line has at most 128 bytes and no NUL; it reads the same from
// the bytes as from the reader's cleared 156-byte buffer; its fields hold no blank and no line
// feed, and joined by blanks give the line less its line feeds.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "link/ConnectionEvents.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace halvex;
  const char* bytes = reinterpret_cast<const char*>(data);
  const auto line = connectionLineOfRecord(bytes, size);

  std::uint32_t code = 0;
  if (size >= connectionevents::kLineOffset) std::memcpy(&code, bytes + connectionevents::kCodeOffset, sizeof code);
  const bool good = size >= connectionevents::kLineOffset && code == connectionevents::kConnectionCode;
  if (line.has_value() != good) __builtin_trap();

  char buffer[connectionevents::kRecordSize] = {};
  const std::size_t received = std::min(size, sizeof buffer);
  std::memcpy(buffer, bytes, received);
  if (connectionLineOfRecord(buffer, received) != line) __builtin_trap();
  if (!line) return 0;

  if (line->size() > connectionevents::kLineSize || line->find('\0') != std::string::npos) __builtin_trap();
  std::string withoutFeeds = *line;
  std::erase(withoutFeeds, '\n');
  std::string joined;
  const auto fields = connectionFields(*line);
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].find_first_of(" \n") != std::string::npos) __builtin_trap();
    if (i > 0) joined += ' ';
    joined += fields[i];
  }
  if (joined != withoutFeeds) __builtin_trap();
  return 0;
}
