#include <gtest/gtest.h>

#include <regex>

#include "platform/NotificationBusNames.h"

using namespace halvex::notificationbus;

TEST(NotificationBusNames, EveryNameBecomesAValidMemberAndComesBack) {
  const std::regex valid("[A-Za-z_][A-Za-z0-9_]*");
  for (const std::string& name : std::vector<std::string>{"startKext", "writeHalvexConfiguration", "it.dovik.odd-name",
                                                          "_x_", "9lives", "", "caff\xC3\xA8", "a b"}) {
    const std::string member = memberForName(name);
    EXPECT_TRUE(std::regex_match(member, valid)) << member;
    EXPECT_LE(member.size(), 255u);
    EXPECT_EQ(nameForMember(member), name);
  }
  EXPECT_EQ(memberForName("startKext"), "startKext") << "plain names travel unchanged";
}

TEST(NotificationBusNames, MalformedEscapesAreRefused) {
  EXPECT_FALSE(nameForMember("bad_"));
  EXPECT_FALSE(nameForMember("bad_4"));
  EXPECT_FALSE(nameForMember("bad_zz"));
}
