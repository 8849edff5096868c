#pragma once
// How distributed notifications travel as D-Bus signals: one object path and interface for all,
// the notification's name as the signal's member (escaped where D-Bus forbids a character), and
// two string arguments: the object, and the user info as an XML property list ("" for none).

#include <optional>
#include <string>
#include <string_view>

namespace halvex::notificationbus {

inline constexpr const char* kObjectPath = "/it/dovik/halvex/DistributedNotifications";
inline constexpr const char* kInterface = "it.dovik.halvex.DistributedNotification";

// Letters, digits and "_" stay; every other byte, and "_" itself, becomes "_" and two hex digits;
// a leading digit is escaped too, so the result is always a valid member name.
std::string memberForName(std::string_view name);
// The inverse; nothing for a text that no name escapes to.
std::optional<std::string> nameForMember(std::string_view member);

}  // namespace halvex::notificationbus
