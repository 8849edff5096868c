#include <gtest/gtest.h>

#include "rules/AddressText.h"
#include "rules/DVMatchIP.h"
#include "rules/DVValidateIP.h"

namespace halvex {
namespace {

using addr::Ipv4Bytes;

TEST(DVMatchIPTest, Ipv4NetworksMatchUnderTheirMask) {
  DVMatchIP m;
  EXPECT_TRUE(m.matchIP("192.168.1.7", "192.168.0.0/16"));
  EXPECT_FALSE(m.matchIP("192.169.1.7", "192.168.0.0/16"));
  EXPECT_TRUE(m.matchIP("10.0.0.1", "10.0.0.1/32"));
  EXPECT_FALSE(m.matchIP("10.0.0.1", "10.0.0.2/32"));
  EXPECT_TRUE(m.matchIP("172.31.255.1", "172.16.0.0/12"));
  EXPECT_FALSE(m.matchIP("172.32.0.1", "172.16.0.0/12"));
  // A partial byte: /20 covers 10.1.0.0 to 10.1.15.255.
  EXPECT_TRUE(m.matchIP("10.1.15.255", "10.1.0.0/20"));
  EXPECT_FALSE(m.matchIP("10.1.16.0", "10.1.0.0/20"));
  EXPECT_TRUE(m.matchIP("127.255.0.1", "0.0.0.0/1"));
  EXPECT_FALSE(m.matchIP("128.0.0.1", "0.0.0.0/1"));
}

TEST(DVMatchIPTest, ZeroOrNonNumericPrefixMatchesEverything) {
  DVMatchIP m;
  for (const char* address : {"8.8.8.8", "10.0.0.1", "255.255.255.255", "0.0.0.0"}) {
    EXPECT_TRUE(m.matchIP(address, "1.2.3.4/0")) << address;
    EXPECT_TRUE(m.matchIP(address, "0.0.0.0/0")) << address;
    EXPECT_TRUE(m.matchIP(address, "8.8.8.8/abc")) << address;
    EXPECT_TRUE(m.matchIP(address, "8.8.8.8/")) << address;
  }
  // The prefix is read up to its first non-digit: "24abc" is 24.
  EXPECT_TRUE(m.matchIP("10.0.0.9", "10.0.0.0/24abc"));
  EXPECT_FALSE(m.matchIP("10.0.1.9", "10.0.0.0/24abc"));
}

TEST(DVMatchIPTest, LenientAddressFormsAreReadAsTheCLibraryReadsThem) {
  DVMatchIP m;
  EXPECT_TRUE(m.matchIP("10.1", "10.0.0.1/32"));       // short form: 10.0.0.1
  EXPECT_TRUE(m.matchIP("010.0.0.1", "8.0.0.0/8"));    // octal part
  EXPECT_TRUE(m.matchIP("0x7f.1", "127.0.0.0/8"));     // hexadecimal part
  EXPECT_TRUE(m.matchIP("167772161", "10.0.0.1/32"));  // one 32-bit number
  EXPECT_FALSE(m.matchIP("010.0.0.1", "10.0.0.0/8"));
}

TEST(DVMatchIPTest, UnreadableInputIsAFailedMatch) {
  DVMatchIP m;
  EXPECT_FALSE(m.matchIP("10.0.0.1", "10.0.0.0/33"));
  EXPECT_FALSE(m.matchIP("10.0.0.1", "10.0.0.0/-1"));
  EXPECT_FALSE(m.matchIP("10.0.0.1", "10.0.0.0/99999999999"));
  EXPECT_FALSE(m.matchIP("not-an-address", "0.0.0.0/0"));
  EXPECT_FALSE(m.matchIP("10.0.0.1", "ten/0"));
  EXPECT_FALSE(m.matchIP("10.0.0.1", "10.0.0.1"));  // no "/"
  EXPECT_FALSE(m.matchIP("", "0.0.0.0/0"));
}

TEST(DVMatchIPTest, Ipv6NetworksCompareOnlyTheirPrefixBits) {
  DVMatchIP m;
  EXPECT_TRUE(m.matchIPV6("fe80::1", "fe80::/10"));
  EXPECT_TRUE(m.matchIPV6("febf:ffff::1", "fe80::/10"));
  EXPECT_FALSE(m.matchIPV6("fec0::1", "fe80::/10"));
  EXPECT_FALSE(m.matchIPV6("2001:db8::1", "fe80::/10"));
  EXPECT_TRUE(m.matchIPV6("fd12::1", "fc00::/7"));
  EXPECT_FALSE(m.matchIPV6("fe00::1", "fc00::/7"));
  EXPECT_TRUE(m.matchIPV6("2001:db8:0:0:1::", "2001:db8::/48"));
  EXPECT_FALSE(m.matchIPV6("2001:db9::", "2001:db8::/48"));
  for (const char* address : {"::1", "2001:db8::1", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}) {
    EXPECT_TRUE(m.matchIPV6(address, "::/0")) << address;
  }
  // Without "/" all 128 bits count.
  EXPECT_TRUE(m.matchIPV6("2001:db8::5", "2001:db8::5"));
  EXPECT_FALSE(m.matchIPV6("2001:db8::6", "2001:db8::5"));
}

TEST(DVMatchIPTest, Ipv6RefusedInputIsAFailedMatch) {
  DVMatchIP m;
  EXPECT_FALSE(m.matchIPV6("fe80::1", "zz::/10"));
  EXPECT_FALSE(m.matchIPV6("fe80::1", "fe80::/129"));
  // An address that is no IPv6 text compares as all zeros: it fails every real network, and
  // "::/0", which compares no bits at all, takes it like every other address.
  EXPECT_FALSE(m.matchIPV6("not-v6", "fe80::/10"));
  EXPECT_FALSE(m.matchIPV6("10.0.0.1", "2001:db8::/48"));
  EXPECT_TRUE(m.matchIPV6("10.0.0.1", "::/0"));
  EXPECT_TRUE(m.matchIPV6("not-v6", "::/120"));
}

TEST(DVMatchIPTest, CidrValidationTakesWhatTheNetworkReadersTake) {
  DVMatchIP m;
  EXPECT_TRUE(m.validateIPV4cidr("10.0.0.0/8"));
  EXPECT_TRUE(m.validateIPV4cidr("10/8"));        // abbreviated
  EXPECT_TRUE(m.validateIPV4cidr("192.168.1.5"));  // no "/"
  EXPECT_TRUE(m.validateIPV4cidr("0x0a/8"));       // hexadecimal
  EXPECT_FALSE(m.validateIPV4cidr("10.0.0.0/33"));
  EXPECT_FALSE(m.validateIPV4cidr("256.0.0.0/8"));
  EXPECT_FALSE(m.validateIPV4cidr("1.2.3.4.5"));  // more than four bytes
  EXPECT_FALSE(m.validateIPV4cidr("10.0.0.0/8x"));
  EXPECT_FALSE(m.validateIPV4cidr("host/8"));
  EXPECT_FALSE(m.validateIPV4cidr(""));

  EXPECT_TRUE(m.validateIPV6cidr("fe80::/10"));
  EXPECT_TRUE(m.validateIPV6cidr("::/0"));
  EXPECT_TRUE(m.validateIPV6cidr("2001:db8::1"));
  EXPECT_TRUE(m.validateIPV6cidr("::ffff:10.0.0.1"));
  EXPECT_FALSE(m.validateIPV6cidr("zz::/10"));
  EXPECT_FALSE(m.validateIPV6cidr("fe80::/129"));
  EXPECT_FALSE(m.validateIPV6cidr("fe80::/010"));  // leading zero in the length
  EXPECT_FALSE(m.validateIPV6cidr("fe80::/"));
  EXPECT_FALSE(m.validateIPV6cidr("1:2:3:4:5:6:7:8:9"));
  EXPECT_FALSE(m.validateIPV6cidr("1::2::3"));
  EXPECT_FALSE(m.validateIPV6cidr("10.0.0.1"));
  EXPECT_FALSE(m.validateIPV6cidr(""));
}

TEST(DVValidateIPTest, OnlyPlainAddressesAreValid) {
  DVValidateIP v;
  for (const char* good : {"::1", "127.0.0.1", "0.0.0.0", "fe80::1", "::ffff:1.2.3.4", "2001:db8::"}) {
    EXPECT_TRUE(v.isValidIpAddress(good)) << good;
  }
  for (const char* bad : {"127.0.0.1/8", "localhost", "10.1", "010.0.0.1", "256.1.1.1", "1.2.3.4 ", "fe80::1%eth0",
                          "", ":", "1:::2", "12345::"}) {
    EXPECT_FALSE(v.isValidIpAddress(bad)) << bad;
  }
}

TEST(MatchAddressTextTest, InetAtonReadsShortOctalAndHexForms) {
  auto bytes = [](const char* text) { return addr::inetAton(text); };
  EXPECT_EQ(bytes("10.1"), (Ipv4Bytes{10, 0, 0, 1}));
  EXPECT_EQ(bytes("10.1.2"), (Ipv4Bytes{10, 1, 0, 2}));
  EXPECT_EQ(bytes("10.1.258"), (Ipv4Bytes{10, 1, 1, 2}));
  EXPECT_EQ(bytes("010.0.0.1"), (Ipv4Bytes{8, 0, 0, 1}));
  EXPECT_EQ(bytes("0x0A.0.0.0xff"), (Ipv4Bytes{10, 0, 0, 255}));
  EXPECT_EQ(bytes("4294967295"), (Ipv4Bytes{255, 255, 255, 255}));
  EXPECT_EQ(bytes("1.2.3.4 trailing words"), (Ipv4Bytes{1, 2, 3, 4}));
  for (const char* refused : {"", "1.2.3.4.5", "256.0.0.0", "1.2.65536", "4294967296", "08.0.0.0", "0x", "1..2",
                              "1.2.3.", ".1", "-1", "a.b.c.d", "1.2.3.4x"}) {
    EXPECT_FALSE(addr::inetAton(refused)) << refused;
  }
}

TEST(MatchAddressTextTest, NetworkReadersAnswerTheNumberOfBits) {
  std::uint8_t v4[4] = {};
  EXPECT_EQ(addr::inetNetPton4("10/8", v4, 4), 8);
  EXPECT_EQ(addr::inetNetPton4("10", v4, 4), 8);            // class A
  EXPECT_EQ(addr::inetNetPton4("172.16", v4, 4), 16);       // class B
  EXPECT_EQ(addr::inetNetPton4("192.168.1", v4, 4), 24);    // class C
  EXPECT_EQ(addr::inetNetPton4("192.168.1.5", v4, 4), 32);  // widened to the bytes given
  EXPECT_EQ(addr::inetNetPton4("224.1.2.3", v4, 4), 4);     // multicast keeps its 4 bits
  EXPECT_EQ(addr::inetNetPton4("240.1", v4, 4), 32);        // class E, padded
  EXPECT_EQ(addr::inetNetPton4("1/99999999999", v4, 4), -1);
  EXPECT_EQ(addr::inetNetPton4("10.20.0.0/14", v4, 4), 14);
  EXPECT_EQ(v4[1], 20);
  EXPECT_EQ(addr::inetNetPton4("10/24", v4, 4), 24);  // padded with zero bytes
  EXPECT_EQ(v4[2], 0);

  std::uint8_t v6[16] = {};
  EXPECT_EQ(addr::inetNetPton6("fe80::/10", v6, 16), 10);
  EXPECT_EQ(v6[0], 0xfe);
  EXPECT_EQ(v6[1], 0x80);
  EXPECT_EQ(addr::inetNetPton6("::/0", v6, 16), 0);
  EXPECT_EQ(addr::inetNetPton6("2001:db8::1", v6, 16), 128);
  EXPECT_EQ(v6[15], 1);
  EXPECT_EQ(addr::inetNetPton6("::ffff:1.2.3.4/120", v6, 16), 120);
  EXPECT_EQ(v6[12], 1);
  EXPECT_EQ(addr::inetNetPton6("2001:db8/32", v6, 16), 32);
  // The bytes under the prefix are all that is written.
  std::uint8_t small[2] = {};
  EXPECT_EQ(addr::inetNetPton6("fe80::/10", small, 2), 10);
  EXPECT_EQ(addr::inetNetPton6("fe80::/24", small, 2), -1);
}

TEST(MatchAddressTextTest, IntValueReadsLeadingDigitsOnly) {
  EXPECT_EQ(addr::intValue("24"), 24);
  EXPECT_EQ(addr::intValue("  +7x"), 7);
  EXPECT_EQ(addr::intValue("-3"), -3);
  EXPECT_EQ(addr::intValue("abc"), 0);
  EXPECT_EQ(addr::intValue(""), 0);
  EXPECT_EQ(addr::intValue("99999999999"), 2147483647);
  EXPECT_EQ(addr::intValue("-99999999999"), -2147483647 - 1);
}

}  // namespace
}  // namespace halvex
