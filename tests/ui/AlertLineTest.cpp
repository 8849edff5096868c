#include <gtest/gtest.h>

#include "ui/console/AlertLine.h"

using namespace halvex;
using Kind = AlertLine::Kind;

TEST(AlertLineTest, EveryAnswerFormReadsAsTheControlsItWorks) {
  struct Case {
    const char* text;
    bool pass;
    std::optional<AlertScope> scope;
    std::optional<AppDuration> duration;
    std::int64_t minutes;
    bool quiet;
    std::int64_t quietSeconds;
    const char* network;
  };
  const Case cases[] = {
      {"block", false, std::nullopt, std::nullopt, 0, false, 0, ""},
      {"  pass app\r", true, AlertScope::app, std::nullopt, 0, false, 0, ""},
      {"pass app login", true, AlertScope::app, AppDuration::untilLogout, 0, false, 0, ""},
      {"block app 1440", false, AlertScope::app, AppDuration::minutes, 1440, false, 0, ""},
      {"pass\tport", true, AlertScope::port, std::nullopt, 0, false, 0, ""},
      {"block address quiet", false, AlertScope::address, std::nullopt, 0, true, 0, ""},
      {"pass address quiet 1", true, AlertScope::address, std::nullopt, 0, true, 1, ""},
      {"pass network 2001:db8::/32", true, AlertScope::network, std::nullopt, 0, false, 0, "2001:db8::/32"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const auto line = parseAlertLine(c.text);
    ASSERT_EQ(line.kind, Kind::answer) << line.error;
    EXPECT_EQ(line.answer.pass, c.pass);
    EXPECT_EQ(line.answer.scope, c.scope);
    EXPECT_EQ(line.answer.duration, c.duration);
    EXPECT_EQ(line.answer.minutes, c.minutes);
    EXPECT_EQ(line.answer.quiet, c.quiet);
    EXPECT_EQ(line.answer.quietSeconds, c.quietSeconds);
    EXPECT_EQ(line.answer.network, c.network);
  }
  EXPECT_EQ(parseAlertLine("silence").kind, Kind::silence);
  EXPECT_EQ(parseAlertLine("kill").kind, Kind::kill);
  EXPECT_EQ(parseAlertLine("wait ").kind, Kind::wait);
  EXPECT_EQ(parseAlertLine("signature").kind, Kind::signature);
}

TEST(AlertLineTest, MalformedAnswersAreRefusedAndOtherLinesAreLeftToTheCommands) {
  for (const char* text :
       {"pass app 0", "pass app 1441", "pass app 5x", "pass app -3", "pass app 99999999999999999999",
        "pass app forever now", "pass port 80", "pass address loud", "pass address quiet 0", "pass address quiet -5",
        "pass address quiet 2.5", "pass address quiet 30 more", "pass address 30", "pass network", "pass network a b",
        "block everything", "silence please", "pass \x01\xff"}) {
    SCOPED_TRACE(text);
    const auto line = parseAlertLine(text);
    EXPECT_EQ(line.kind, Kind::invalid);
    EXPECT_FALSE(line.error.empty());
  }
  for (const char* text : {"", "   ", "passport", "whois 192.0.2.1", "Pass", "signature /usr/bin/curl"})
    EXPECT_EQ(parseAlertLine(text).kind, Kind::notAnAnswer) << text;
}
