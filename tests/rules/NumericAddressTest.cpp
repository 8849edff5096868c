#include <gtest/gtest.h>

#include "rules/NumericAddress.h"

namespace halvex {
namespace {

using namespace std::string_literals;

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
