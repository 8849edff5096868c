#include <gtest/gtest.h>

#include <vector>

#include "rules/AddressText.h"
#include "rules/DVMatchIP.h"
#include "rules/DVValidateIP.h"
#include "rules/NumericAddress.h"

namespace halvex {
namespace {

using addr::Ipv4Bytes;
using namespace std::string_literals;

// A network with the addresses it takes and those it refuses.
struct MatchCase {
  const char* network;
  std::vector<const char*> in, out;
};

TEST(DVMatchIPTest, Ipv4MatchesUnderTheMaskReadingAddressesLeniently) {
  const MatchCase cases[] = {
      {"192.168.0.0/16", {"192.168.1.7"}, {"192.169.1.7"}},
      {"172.16.0.0/12", {"172.31.255.1"}, {"172.32.0.1"}},
      {"10.1.0.0/20", {"10.1.15.255"}, {"10.1.16.0"}},  // a partial byte
      {"0.0.0.0/1", {"127.255.0.1"}, {"128.0.0.1"}},
      {"10.0.0.0/24abc", {"10.0.0.9"}, {"10.0.1.9"}},  // the prefix is read up to its first non-digit
      {"10.0.0.0/ +7x", {"11.1.1.1"}, {"12.0.0.1"}},   // after blanks and a sign
      // Addresses are read as the C library reads them: short, octal, hexadecimal, one number.
      {"10.0.0.1/32", {"10.0.0.1", "10.1", "167772161"}, {"10.0.0.2"}},
      {"8.0.0.0/8", {"010.0.0.1"}, {}},
      {"10.0.0.0/8", {}, {"010.0.0.1"}},
      {"127.0.0.0/8", {"0x7f.1"}, {}},
      // Unreadable input is a failed match.
      {"0.0.0.0/0", {}, {"not-an-address", ""}},
      // A zero or non-numeric prefix matches everything.
      {"1.2.3.4/0", {"8.8.8.8", "255.255.255.255", "0.0.0.0"}, {}},
      {"8.8.8.8/abc", {"10.0.0.1", "255.255.255.255"}, {}},
      {"8.8.8.8/", {"10.0.0.1", "0.0.0.0"}, {}},
  };
  DVMatchIP m;
  for (const auto& c : cases) {
    for (const char* a : c.in) EXPECT_TRUE(m.matchIP(a, c.network)) << a << " in " << c.network;
    for (const char* a : c.out) EXPECT_FALSE(m.matchIP(a, c.network)) << a << " in " << c.network;
  }
  for (const char* network : {"10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/99999999999", "ten/0", "10.0.0.1"})
    EXPECT_FALSE(m.matchIP("10.0.0.1", network)) << network;  // no "/" in the last
}

TEST(DVMatchIPTest, Ipv6ComparesOnlyThePrefixBits) {
  const MatchCase cases[] = {
      {"fe80::/10", {"fe80::1", "febf:ffff::1"}, {"fec0::1", "2001:db8::1"}},
      {"fc00::/7", {"fd12::1"}, {"fe00::1"}},
      {"2001:db8::/48", {"2001:db8:0:0:1::"}, {"2001:db9::", "10.0.0.1"}},
      {"2001:db8::5", {"2001:db8::5"}, {"2001:db8::6"}},  // no "/": all 128 bits
      // An abbreviated network: the groups given, up to the prefix, whatever it is.
      {"2001:db8/32", {"2001:db8:1::1"}, {"2001:db9::1"}},
      {"2001:db8/17", {"2001:7fff::"}, {"2001:8000::"}},
      {"1::2:/64", {"1:0:0:2::9"}, {"1::2:0:0:9", "1::9"}},
      {"ffff::/10", {"ffc0::1"}, {"ff80::1"}},
      {"::ffff:1.2.3.4/120", {"::ffff:1.2.3.200"}, {"::ffff:1.2.4.4"}},
      // A whole address before the prefix is that address, bits past the prefix ignored.
      {"2001:db8::/32", {"2001:db8::1"}, {"2a00::1"}},
      {"2001:db8::1/32", {"2001:db8:ffff::1"}, {}},
      {"fe80::1/64", {"fe80::5"}, {"fe80:0:0:1::5"}},
      {"zz::/10", {}, {"fe80::1"}},
      {"fe80::/129", {}, {"fe80::1"}},
      // An address that is no IPv6 text compares as all zeros: it fails every real network, and
      // "::/0", which compares no bits at all, takes it like every other address.
      {"::/0", {"::1", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "10.0.0.1"}, {}},
      {"::/120", {"not-v6"}, {}},
      {"fe80::/10", {}, {"not-v6"}},
  };
  DVMatchIP m;
  for (const auto& c : cases) {
    for (const char* a : c.in) EXPECT_TRUE(m.matchIPV6(a, c.network)) << a << " in " << c.network;
    for (const char* a : c.out) EXPECT_FALSE(m.matchIPV6(a, c.network)) << a << " in " << c.network;
  }
}

TEST(DVMatchIPTest, CidrValidationTakesWhatTheNetworkReadersTake) {
  DVMatchIP m;
  // Abbreviated, without "/", hexadecimal.
  for (const char* good : {"10.0.0.0/8", "10/8", "192.168.1.5", "0x0a/8", "172.16", "224.1.2.3", "10.20.0.0/14"})
    EXPECT_TRUE(m.validateIPV4cidr(good)) << good;
  for (const char* bad : {"10.0.0.0/33", "256.0.0.0/8", "1.2.3.4.5", "10.0.0.0/8x", "host/8", "", "1/99999999999"})
    EXPECT_FALSE(m.validateIPV4cidr(bad)) << bad;
  for (const char* good :
       {"fe80::/10", "::/0", "2001:db8::1", "::ffff:10.0.0.1", "2001:db8::/32", "::ffff:1.2.3.4/96", "2001:db8/32"})
    EXPECT_TRUE(m.validateIPV6cidr(good)) << good;
  // "/010": a leading zero in the length is refused.
  for (const char* bad : {"zz::/10", "fe80::/129", "fe80::/010", "fe80::/", "1:2:3:4:5:6:7:8:9", "1::2::3", "10.0.0.1",
                          "", "2001:db8::/-1", "2001:db8::/3x", "2001:db8:::/32", "gggg::/16", "/32"})
    EXPECT_FALSE(m.validateIPV6cidr(bad)) << bad;
}

TEST(DVValidateIPTest, OnlyPlainAddressesAreValid) {
  DVValidateIP v;
  for (const char* good : {"::1", "127.0.0.1", "0.0.0.0", "fe80::1", "::ffff:1.2.3.4", "2001:db8::"})
    EXPECT_TRUE(v.isValidIpAddress(good)) << good;
  for (const char* bad : {"127.0.0.1/8", "localhost", "10.1", "010.0.0.1", "256.1.1.1", "1.2.3.4 ", "fe80::1%eth0", "",
                          ":", "1:::2", "12345::"})
    EXPECT_FALSE(v.isValidIpAddress(bad)) << bad;
}

TEST(MatchAddressTextTest, InetAtonReadsShortOctalAndHexForms) {
  const std::pair<const char*, Ipv4Bytes> read[] = {{"10.1", {10, 0, 0, 1}},
                                                    {"10.1.2", {10, 1, 0, 2}},
                                                    {"10.1.258", {10, 1, 1, 2}},
                                                    {"010.0.0.1", {8, 0, 0, 1}},
                                                    {"0x0A.0.0.0xff", {10, 0, 0, 255}},
                                                    {"4294967295", {255, 255, 255, 255}},
                                                    {"1.2.3.4 trailing words", {1, 2, 3, 4}}};
  for (const auto& [text, bytes] : read) EXPECT_EQ(addr::inetAton(text), bytes) << text;
  for (const char* refused : {"", "1.2.3.4.5", "256.0.0.0", "1.2.65536", "4294967296", "08.0.0.0", "0x", "1..2",
                              "1.2.3.", ".1", "-1", "a.b.c.d", "1.2.3.4x"})
    EXPECT_FALSE(addr::inetAton(refused)) << refused;
}

TEST(NumericAddress, OneAddressInItsCanonicalTextOrNothing) {
  const std::pair<std::string, std::string> canonical[] = {
      {"192.0.2.1", "192.0.2.1"},
      {"2001:DB8:0:0:0:0:0:1", "2001:db8::1"},
      {"::", "::"},
      {"fe80::", "fe80::"},
      {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},      // the first of two equal runs
      {"2001:0db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // a single zero group stays
      {"1:0:0:2:0:0:0:3", "1:0:0:2::3"},
      {"::FFFF:10.0.0.1", "::ffff:10.0.0.1"},
      {"::ffff:a00:1", "::ffff:10.0.0.1"}};
  for (const auto& [text, expected] : canonical) EXPECT_EQ(numericAddress(text), expected) << text;

  for (const std::string& text : {""s, "10.1"s, "010.0.0.1"s, " 1.2.3.4"s, "1.2.3.4\0; reboot"s, "fe80::1%eth0"s,
                                  "[::1]"s, "1.2.3.0/24"s, "face"s, "::::"s, "1:2:3:4:5:6:7:8:9"s, "256.1.1.1"s})
    EXPECT_FALSE(numericAddress(text)) << text;
}

}  // namespace
}  // namespace halvex
