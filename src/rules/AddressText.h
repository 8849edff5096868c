#pragma once
// Address parsers with the behaviour of the classic C-library routines, written as pure
// functions over text so the matching code makes no system call and never reads past a buffer.
//
//  - inetAton: the lenient IPv4 reader (one to four parts, each decimal, octal with a leading 0,
//    or hexadecimal with 0x; "10.1" is 10.0.0.1, "010.0.0.1" is 8.0.0.1; whitespace ends the
//    text and whatever follows it is ignored).
//  - inetPton4 / inetPton6: the strict readers of dotted quads and of IPv6 text.
//  - inetNetPton4 / inetNetPton6: network readers that answer the number of significant bits,
//    or -1 when they refuse the text. A text without "/" is accepted: IPv4 infers the width from
//    the address class, IPv6 takes 128. An IPv6 text whose part before "/" is a whole address
//    is that address ("2001:db8::/32"); otherwise the classic abbreviated form ("2001:db8/32").
//    Bits past the prefix are ignored, not refused.
//  - inetNetMask: the mask of a prefix length, refusing lengths from 33 up (as unsigned).
//  - intValue: the integer value of a text as a string object reads it: leading blanks, a sign,
//    digits up to the first other character; text that is no number is 0.
//
// Texts end at their first NUL character, as they would as C strings.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace halvex::addr {

using Ipv4Bytes = std::array<std::uint8_t, 4>;   // network order
using Ipv6Bytes = std::array<std::uint8_t, 16>;  // network order

std::optional<Ipv4Bytes> inetAton(std::string_view text);
std::optional<Ipv4Bytes> inetPton4(std::string_view text);
std::optional<Ipv6Bytes> inetPton6(std::string_view text);

// Writes at most `size` bytes to `dst`; returns the bit count or -1.
int inetNetPton4(std::string_view text, std::uint8_t* dst, std::size_t size);
int inetNetPton6(std::string_view text, std::uint8_t* dst, std::size_t size);

// Returns 0 and fills `mask`, or -1 (and leaves `mask` alone) for a length of 33 or more taken
// as unsigned, which includes every negative length.
int inetNetMask(int bits, Ipv4Bytes& mask);

// True when `a` and `b` agree on their first `bits` bits (0 to 128).
bool bitsAgree(const Ipv6Bytes& a, const Ipv6Bytes& b, int bits);

int intValue(std::string_view text);

}  // namespace halvex::addr
