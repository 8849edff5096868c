#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <regex>
#include <sstream>

#include "fakes/World.h"
#include "ui/console/ConsoleCommands.h"

namespace halvex {
namespace {

using namespace std::string_literals;
using Lines = std::vector<std::string>;

// The console over the agent's own look-ups, with its output captured.
class Console : public ::testing::Test {
 protected:
  Console() {
    w.files.addFile("/bundle/aggregated/it-aggregated.zone", "151.0.0.0/8\n");
    w.files.addFile("/usr/bin/tool", "binary");
    w.owners.names[1000] = "alice";
    w.owners.console = 1000;
    w.agent.flagsController.makeDict();
  }
  ~Console() override {
    std::fclose(out_);
    std::free(buffer_);
  }
  // Runs one line and every look-up it starts; returns the lines written meanwhile.
  Lines run(std::string_view line) {
    commands_.execute(line);
    for (int i = 0; i < 100 && commands_.pending() > 0; ++i) w.loop.waitAndRun(std::chrono::milliseconds(100));
    EXPECT_EQ(commands_.pending(), 0u) << "an answer never came for: " << line;
    std::fflush(out_);
    std::istringstream in(std::string(buffer_, size_).substr(std::exchange(consumed_, size_)));
    Lines lines;
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
  }
  Lines whoisCommands() const {
    Lines commands;
    for (const auto& r : w.runner.requests()) commands.push_back(r.arguments.at(1));
    return commands;
  }

  test::World w{test::testEnvironment("/bundle")};
  char* buffer_ = nullptr;
  std::size_t size_ = 0, consumed_ = 0;
  std::FILE* out_ = open_memstream(&buffer_, &size_);
  ConcurrentQueue findFlag_{"findFlag"};
  ConsoleCommands commandsOver(const HXFlagsController& flags) {
    return ConsoleCommands(w.agent.sockController, flags, w.agent.signatureInspector, w.owners, w.files,
                           w.globals.globalBackground, findFlag_, w.loop, out_);
  }
  ConsoleCommands commands_ = commandsOver(w.agent.flagsController);
};

TEST_F(Console, AddressFactsArriveOnTheLoopUnderTheirCommand) {
  w.runner.answerWith(test::exited(0, "% whois of 151.1.2.3\r\nnetname: \x1b[31mRED\n\nowner # x\n"));
  EXPECT_EQ(run("whois 151.1.2.3\n"),
            (Lines{"[whois 151.1.2.3] whois of 151.1.2.3", "[whois 151.1.2.3] netname: \\x1b[31mRED",
                   "[whois 151.1.2.3] ", "[whois 151.1.2.3] owner x"}));
  EXPECT_TRUE(w.reports.str().empty()) << "the report goes to the console once, not also to standard output";
  w.runner.answerWith(test::exited(1));
  EXPECT_EQ(run("whois   2001:DB8:0:0::1  "), Lines{"[whois 2001:DB8:0:0::1] ERROR: no whois report"});
  EXPECT_EQ(whoisCommands(), (Lines{"/r/usr/bin/whois 151.1.2.3", "/r/usr/bin/whois 2001:db8::1"}));

  w.hostNames.set("151.1.2.3", {"host.example\x07\xff", "alias"});
  EXPECT_EQ(run("host 151.1.2.3"), Lines{"[host 151.1.2.3] host.example\\x07\xEF\xBF\xBD"});
  EXPECT_EQ(run("host ::1"), Lines{"[host ::1] no host name"});
  EXPECT_EQ(run("country 151.1.2.3"), Lines{"[country 151.1.2.3] Italy"});
  EXPECT_EQ(run("country 2001:db8::1"),
            Lines{"[country 2001:db8::1] no location: the country zones hold IPv4 networks only"});
  test::MemoryFiles none;
  const HXFlagsController unloaded(w.paths, none, none);
  commandsOver(unloaded).execute("country 151.1.2.3");
  ASSERT_TRUE(w.loop.waitAndRun());
  EXPECT_EQ(run(""), Lines{"[country 151.1.2.3] no country data loaded"});
}

TEST_F(Console, SignatureStepsAndTheConsoleUser) {
  w.signatures.set("/usr/bin/tool", SignatureQuery::verify, "");
  w.signatures.set("/usr/bin/tool", SignatureQuery::describeFull, "Authority=Software Signing\nAuthority=Debian\n");
  EXPECT_EQ(run("signature /usr/bin/tool"),
            (Lines{"[signature /usr/bin/tool] valid signature",
                   "[signature /usr/bin/tool] signed by Debian (the system's vendor)"}));
  w.files.addFile("/home/u/a b", "x");
  EXPECT_EQ(run("signature /home/u/a b"), Lines{"[signature /home/u/a b] missing signature"});
  EXPECT_EQ(run("signature /nowhere"), Lines{"[signature /nowhere] no such file"});
  EXPECT_EQ(run("user"), Lines{"[user] alice (uid 1000)"});
  w.owners.console.reset();
  EXPECT_EQ(run("user"), Lines{"[user] no console user"});
}

// Each hostile line gets one line at once and reaches no tool, queue or inspection.
TEST_F(Console, HostileLinesAreRefusedBeforeReachingAnything) {
  for (const char* junk :
       {"1.2.3.4; rm -rf ~", "$(reboot)", "`id`", "-h evil.example 1.2.3.4", "face", "10.1", "::1%eth0", "[::1]"})
    for (const std::string command : {"whois", "host", "country"})
      EXPECT_EQ(run(command + " " + junk), Lines{"[" + command + " " + junk + "] not an IPv4 or IPv6 address"});
  const std::pair<std::string, std::string> table[] = {
      {"whois", "[whois] usage: whois ADDRESS"},
      {"signature bin/tool", "[signature bin/tool] not an absolute path"},
      {"signature -rf /", "[signature -rf /] not an absolute path"},
      {"signature /" + std::string(4096, 'a'), "[signature /" + std::string(4096, 'a') + "] path too long"},
      {"user root", "[user] takes no argument"},
      {"whois 1.2.3.4\0; reboot"s, "[error] control character \\x00 at byte 14; nothing done"},
      {"whois 1.2.3.4\x1b]0;owned\x07", "[error] control character \\x1b at byte 14; nothing done"},
      {"host 1.2.3.4\r\n\r\n", "[error] control character \\x0d at byte 13; nothing done"},
      {"whois \xff\xfe", "[error] byte 7 is not UTF-8 text; nothing done"},
      {"\xc0\xaf", "[error] byte 1 is not UTF-8 text; nothing done"},
      {"signature /\xed\xa0\x80", "[error] byte 12 is not UTF-8 text; nothing done"},
      {"whois \xc2\x9b"
       "2J",
       "[error] control character \\x9b at byte 7; nothing done"},
      {"signature /tmp/\xe2\x80\xaegpj.exe", "[error] control character \\u202e at byte 16; nothing done"},
      {std::string(100 * 1024, 'a'), "[error] line too long: 102400 bytes, at most 8192; nothing done"},
      {" \t \r\n", ""},
  };
  for (const auto& [line, answer] : table) EXPECT_EQ(run(line), answer.empty() ? Lines{} : Lines{answer}) << line;
  EXPECT_TRUE(w.runner.requests().empty());
  EXPECT_EQ(w.signatures.calls(), 0);

  auto help = run("help");
  EXPECT_EQ(help.size(), 6u);
  help.insert(help.begin(), "[help] unknown command; the commands are:");
  EXPECT_EQ(run("WHOIS 1.2.3.4"), help);
}

// Good lines with random pieces put in, cut out or swapped: whatever they hold, the whois tool sees
// only "<whois> <address>" and every line ends answered.
TEST_F(Console, MutatedLinesNeverPutMoreThanAnAddressOnACommandLine) {
  const Lines seeds = {"whois 1.2.3.4",     "whois 2001:db8::1",       "host ::ffff:10.0.0.1",
                       "country 151.1.2.3", "signature /usr/bin/tool", "user"};
  const Lines pieces = {";",        "$(", "`", "|", " ",  "\t",  "%",    "\n", "\0"s, "\x1b", "\xff",
                        "\xc3\xa9", "::", ".", "/", "0x", "-h ", "ffff", "9",  "\"",  "'"};
  std::mt19937 random(7);
  for (int i = 0; i < 1500; ++i) {
    std::string line = seeds[random() % seeds.size()];
    for (int n = random() % 4; n > 0; --n) {
      const std::size_t at = random() % (line.size() + 1);
      const std::string& piece = pieces[random() % pieces.size()];
      if (random() % 2) line.insert(at, piece);
      else if (at < line.size()) line[at] = piece[0];
    }
    for (const auto& out : run(line)) ASSERT_EQ(out.front(), '[') << line;
  }
  const std::regex whoisLine("/r/usr/bin/whois [0-9a-f.:]+");
  ASSERT_GT(whoisCommands().size(), 50u);
  for (const auto& command : whoisCommands()) EXPECT_TRUE(std::regex_match(command, whoisLine)) << command;
}

}  // namespace
}  // namespace halvex
