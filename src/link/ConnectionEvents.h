#pragma once
// The connection-event stream: the record the event socket delivers, the line it carries, and the
// distributed notifications that hand the line on and switch the logger.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvex {

namespace connectionevents {

// One record: five 32-bit words the agent ignores (size, vendor, class, subclass, event id), the
// event code, the line's 128 bytes and four more ignored bytes. Integers are in host byte order.
inline constexpr std::size_t kRecordSize = 156;
inline constexpr std::size_t kCodeOffset = 20;
inline constexpr std::size_t kLineOffset = 24;
inline constexpr std::size_t kLineSize = 128;
inline constexpr std::uint32_t kConnectionCode = 4242;

// The line travels unparsed to whoever observes it.
inline constexpr const char* kHalvexConnections = "halvexconnections";
inline constexpr const char* kHalvexConnectionsObject = "it.dovik.halvexconnections";
inline constexpr const char* kConnectionsKey = "connections";
// Asks the daemon to load or unload the connection logger; the user info's one key holds "".
inline constexpr const char* kLoadKext = "loadKext";
inline constexpr const char* kUnloadKext = "unloadKext";
inline constexpr const char* kConnKextObject = "it.dovik.halvexconnkext";
inline constexpr const char* kKextPathKey = "kextPath";

}  // namespace connectionevents

// The connection line of the record in the first `length` bytes of `data`: the bytes of the line's
// field up to its first NUL, or all 128 of them without one. Nothing for a record too short to hold
// the event code or with a code other than 4242.
std::optional<std::string> connectionLineOfRecord(const char* data, std::size_t length);

// The fields of a connection line: every "\n" removed, then split on each single blank, so two
// blanks in a row make an empty field and the fields joined by blanks give the line again.
std::vector<std::string> connectionFields(std::string_view line);

}  // namespace halvex
