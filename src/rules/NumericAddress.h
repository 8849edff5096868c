#pragma once
// One numeric IPv4 or IPv6 address in its canonical text, for texts that come from outside and go
// on to a command line or a look-up. The text must be exactly one address as the strict readers
// take it: no host name, no network, no zone ("%eth0"), no brackets, no blanks, no NUL. The answer
// is rebuilt from the address's bytes, so it holds only digits, the letters a to f, "." and ":"
// whatever the input held: dotted quad for IPv4; for IPv6 lower-case groups without leading
// zeros, the longest run of two or more zero groups written "::", and the IPv4-mapped form
// "::ffff:a.b.c.d".

#include <optional>
#include <string>
#include <string_view>

namespace halvex {

std::optional<std::string> numericAddress(std::string_view text);

}  // namespace halvex
