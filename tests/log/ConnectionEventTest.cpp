#include <gtest/gtest.h>

#include <charconv>
#include <random>

#include "log/ConnectionEvent.h"
#include "log/LogWorld.h"

namespace halvex {
namespace {

using namespace std::chrono_literals;
using test::LogWorld;
using Texts = std::vector<std::string>;

// The builder alone, over the test's processes: pid 100 lives, every other pid has ended.
struct Builder {
  test::ThrowingProcessControl control;
  test::FakeProcessOwners owners;
  ConnectionEventBuilder builder{{control, [](std::int32_t pid) { return pid == 100 ? "/usr/bin/curl" : "error"; },
                                  [](std::int32_t pid) { return pid == 100 ? 501 : -1; }, owners, 501}};
  ConnectionEvent build(const std::string& line) const { return builder.build(connectionFields(line)); }
};

WallClock::TimePoint at(std::int64_t milliseconds) {
  return WallClock::TimePoint(std::chrono::milliseconds(milliseconds));
}

TEST(ConnectionEvent, TheFieldCountIsTheVerdictAndOnlyAnEndedBlockedProcessTakesTheDaemonsPath) {
  const Builder b;
  const ConnectionEvent passed = b.build("0 10.0.0.1 443 100 x y");
  EXPECT_EQ(passed, (ConnectionEvent{"/usr/bin/curl", "10.0.0.1", 443, 100, "501", false, "", "", false}));
  EXPECT_TRUE(b.build("0 10.0.0.1 443 100 x y /opt/other").blocked) << "seven fields: blocked";
  EXPECT_EQ(b.build("0 10.0.0.1 443 100 x y /opt/other").path, "/usr/bin/curl") << "a live process keeps its own path";

  const ConnectionEvent ended = b.build("0 10.0.0.1 53 999 x y /opt/my  odd app/bin");
  EXPECT_EQ(ended.path, "/opt/my  odd app/bin") << "the fields from index 6 on, blanks in place";
  EXPECT_EQ(ended.uid, "-1");
  EXPECT_TRUE(ended.otherUser) << "a user the look-up cannot tell is not this one";
  EXPECT_EQ(b.build("0 10.0.0.1 53 999 x y").path, "error") << "a passed connection of an ended process";
  EXPECT_EQ(b.build("0 10.0.0.1 53 999").port, 53) << "four fields are enough";
}

TEST(ConnectionEvent, ALineOutOfTheGrammarEndsTheProcessAndNothingElseDoes) {
  const Builder b;
  const Texts fatal{"",
                    "0 10.0.0.1 443",
                    "0 10.0.0.1 443 -100 x y",
                    "0 10.0.0.1 +443 100 x y",
                    "0 10.0.0.1 443  100 x y",  // two blanks: the pid field is empty
                    "0 10.0.0.1 443 100\t x y",
                    "0 10.0.0.1 443 2147483648 x y",
                    "0 10.0.0.1 99999999999999999999 100",
                    "0 10.0.0.1 0x1BB 100",
                    "0 10.0.0.1 443 1e3"};
  for (const auto& line : fatal) EXPECT_THROW(b.build(line), test::ProcessAborted) << "\"" << line << "\"";
  try {
    b.build("0 10.0.0.1 443 12ab");
    ADD_FAILURE() << "a pid with letters after its digits was taken";
  } catch (const test::ProcessAborted& e) {
    EXPECT_STREQ(e.what(), "connection line's pid is no decimal number: \"12ab\"");
  }

  // Every length from 4 to 40 fields, with runs of blanks and odd text after the pid and in the
  // address, and the largest pid and port: never fatal.
  std::mt19937 random(7);
  const Texts fillers{"", "", "x", "%s%n", "\xff\xfe", "/a b", "-1", "0"};
  for (std::size_t count = 4; count <= 40; ++count) {
    std::string line = std::string("0 ") + (count % 3 == 0 ? "" : "::1") + " 2147483647 0";
    for (std::size_t i = 4; i < count; ++i) line += " " + fillers[random() % fillers.size()];
    std::size_t fields = 0;
    EXPECT_NO_THROW(fields = connectionFields(line).size()) << line;
    EXPECT_NO_THROW(EXPECT_EQ(b.build(line).blocked, fields > 6)) << line;
  }
}

TEST(ConnectionEvent, TheFileLineIsTheDesignsOwnFormAndItsTimeReadsBackExactly) {
  ConnectionEvent mail{"/Applications/Mail.app/Contents/MacOS/Mail", "10.0.0.1", 443, 812, "501", false, "", "", false};
  EXPECT_EQ(connectionLogLine(mail, at(1479200000500)),
            "[CONN] #1479200000.5# #PASS# PROC:#Mail### PID:#812# UID:#501# "
            "PATH:#/Applications/Mail.app/Contents/MacOS/Mail# ADDR:#10.0.0.1#443");
  ConnectionEvent service{test::kServicePath, "::1", 53, 400, "501", true, "Owner", test::kOwnerPath, false};
  EXPECT_EQ(connectionLogLine(service, at(1700000000000)),
            std::string("[CONN] #1700000000# #BLOCK# PROC:#Owner# VIA:#Owner# PID:#400# UID:#501# PATH:#") +
                test::kServicePath + "# ADDR:#::1#53")
      << "a whole second is no exponent";

  EXPECT_EQ(logLineAppName("/opt/x.app/Contents/y.app/Contents/MacOS/y"), "x") << "the first bundle names the app";
  EXPECT_EQ(logLineAppName("/opt/.app/Contents/z"), "");
  EXPECT_EQ(logLineAppName("/opt/Tool.app"), "Tool.app") << "no bundle contents: the last component";
  EXPECT_EQ(logLineAppName("error"), "error");

  for (const auto time : {at(1479200000123), WallClock::TimePoint(1721234567891234567ns), at(100), at(0)}) {
    const std::string text = secondsSince1970Text(time);
    EXPECT_EQ(text.find_first_not_of("0123456789."), std::string::npos) << text;
    double back = 0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    EXPECT_EQ(back, std::chrono::duration<double>(time.time_since_epoch()).count()) << text;
  }
}

// Through the log: a row only for a known path, a file line for every connection while the file
// is on, and a "%" written as it stands.
TEST(ConnectionEvent, RowsAndFileLinesFollowThePathAndTheFileSwitch) {
  LogWorld w;
  w.feed("0 10.0.0.1 443 100 x y");
  EXPECT_TRUE(w.fileLines().empty()) << "the file is off";
  w.globals.loggaSuFile = true;
  w.clock.set(at(1479200000500));
  w.feed("0 10.0.0.2 80 999 x y");
  w.feed("0 10.0.0.3 53 998 x y /tmp/100%s dir/%n%d tool");
  w.feed("0 10.0.0.4 8080 400 x y");
  EXPECT_EQ(w.columnNames(), (Texts{"curl", "%n%d tool", "Owner"})) << "the ended passed process has no row";
  EXPECT_EQ(w.fileLines(),
            (Texts{"[CONN] #1479200000.5# #PASS# PROC:#error### PID:#999# UID:#-1# PATH:#error# ADDR:#10.0.0.2#80",
                   "[CONN] #1479200000.5# #BLOCK# PROC:#%n%d tool### PID:#998# UID:#-1# PATH:#/tmp/100%s dir/%n%d "
                   "tool# ADDR:#10.0.0.3#53",
                   std::string("[CONN] #1479200000.5# #PASS# PROC:#Owner# VIA:#Owner# PID:#400# UID:#501# PATH:#") +
                       test::kServicePath + "# ADDR:#10.0.0.4#8080"}));
}

}  // namespace
}  // namespace halvex
