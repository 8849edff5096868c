#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "fakes/ManualLoop.h"
#include "fakes/MemoryFiles.h"
#include "intelligence/CountryNames.h"
#include "intelligence/HXFlagsController.h"
#include "intelligence/Ipv4Text.h"
#include "platform/linux/LinuxDirectoryListing.h"
#include "platform/linux/LinuxFileSystem.h"

namespace halvex {
namespace {

TEST(Ipv4Text, AddressesAndNetworksReadAsTheCLibraryDoes) {
  // The lenient forms are the rules' reader's (MatchAddressTextTest); here, the byte order. The
  // walk that matches and the index that parses networks are compared below, prefix by prefix.
  EXPECT_EQ(parseIpv4Address("192.168.1.7"), 0xC0A80107u);
  EXPECT_EQ(parseIpv4Address("0x7f.1"), 0x7F000001u);
  EXPECT_FALSE(parseIpv4Address("2001:db8::1"));
  EXPECT_TRUE(matchIpv4("200.1.1.1", "1.2.3.4/0"));
  EXPECT_TRUE(matchIpv4("200.1.1.1", "8.8.8.8/abc")) << "a prefix that is no number reads as 0";
  EXPECT_TRUE(matchIpv4("12.1.1.1", "12.0.0.0/8\r")) << "a stray carriage return is tolerated";
  // Networks that cannot match anything.
  for (const char* junk : {"1.2.3.0/33", "1.2.3.0/-1", "1.2.3.0", "2001:db8::/32", "not a network", "999.1.1.1/8"})
    EXPECT_FALSE(parseIpv4Network(junk)) << junk;
}

// Lower-case codes, the zone files', are read through the look-ups below.
TEST(CountryNames, ByCodeInAnyCase) {
  EXPECT_EQ(countryName("IT"), "Italy");
  EXPECT_FALSE(countryName("xq"));
}

// Random tables with overlapping, nested and duplicated networks: the index and the walk agree on
// every address, boundaries of every network included.
TEST(CountryIndex, AgreesWithTheWalkEvenWhereNetworksOverlap) {
  const auto dotted = [](std::uint32_t a) {
    return std::to_string(a >> 24) + "." + std::to_string((a >> 16) & 255) + "." + std::to_string((a >> 8) & 255) +
           "." + std::to_string(a & 255);
  };
  std::mt19937 random(42);
  for (int round = 0; round < 8; ++round) {
    NationsTable table;
    std::vector<Ipv4Range> ranges;
    for (const char* code : {"aa", "bb", "cc", "dd"}) {
      auto& lines = table[code];
      for (int i = 0; i < 40; ++i) {
        const unsigned prefix = 8 + random() % 25;
        // Addresses crowd into a few /8s so that networks collide.
        const std::uint32_t base = (static_cast<std::uint32_t>(random() % 4 + 60) << 24) | (random() & 0xFFFFFF);
        const std::string line = dotted(base) + "/" + std::to_string(prefix);
        lines.push_back(line);
        ranges.push_back(*parseIpv4Network(line));
        if (i % 9 == 0) lines.push_back(i % 2 ? "" : "garbage");
      }
    }
    const CountryIndex index = CountryIndex::build(table);
    std::vector<std::uint32_t> probes;
    for (const auto& r : ranges)
      for (std::uint32_t a : {r.first - 1, r.first, r.first + 1, r.last - 1, r.last, r.last + 1}) probes.push_back(a);
    for (int i = 0; i < 2000; ++i)
      probes.push_back((static_cast<std::uint32_t>(random() % 6 + 59) << 24) | (random() & 0xFFFFFF));
    for (const std::uint32_t a : probes)
      ASSERT_EQ(searchNationsLinear(table, dotted(a)), index.find(dotted(a))) << dotted(a);
  }
}

TEST(CountryIndex, EdgesOfTheAddressSpace) {
  NationsTable table{{"lo", {"0.0.0.0/8"}}, {"hi", {"255.255.255.255/32"}}, {"all", {}}};
  const auto index = CountryIndex::build(table);
  EXPECT_EQ(index.find("0.0.0.0"), "lo");
  EXPECT_FALSE(index.find("1.0.0.0"));
  EXPECT_EQ(index.find("255.255.255.255"), "hi");
  EXPECT_FALSE(index.find("255.255.255.254"));
  const auto everything = CountryIndex::build({{"a", {"9.9.9.9/0"}}, {"b", {"1.0.0.0/8"}}});
  EXPECT_EQ(everything.find("1.2.3.4"), "a") << "the earlier zone wins where networks overlap";
  EXPECT_FALSE(CountryIndex{}.find("1.2.3.4"));
}

class FlagsFixture : public ::testing::Test {
 protected:
  Paths pathsWith(std::string resources) { return Paths({"/root-of-test", {}, {}, {}, std::move(resources)}); }
  test::MemoryFiles files_;
};

TEST_F(FlagsFixture, LoadsTheShippedZonesAndIgnoresWhatIsNoZone) {
  const Paths paths = pathsWith(std::string(HALVEX_TEST_DATA) + "/nations");
  LinuxFileSystem disk;
  LinuxDirectoryListing listing;
  HXFlagsController flags(paths, disk, listing, [](const std::string& name) { return name == "it"; });
  flags.awakeFromNib();
  EXPECT_EQ(flags.thePath(), std::string(HALVEX_TEST_DATA) + "/nations/aggregated");
  const auto table = flags.nationsTable();
  std::vector<std::string> codes;
  for (const auto& [code, lines] : *table) codes.push_back(code);
  EXPECT_EQ(codes, (std::vector<std::string>{"aq", "de", "it", "us", "zz"}));
  EXPECT_TRUE(table->at("aq").size() <= 1) << "an empty file is an empty zone";

  EXPECT_EQ(flags.search("151.12.1.1"), "it");
  EXPECT_EQ(flags.search("12.200.0.1"), "us") << "CRLF line";
  EXPECT_EQ(flags.search("80.130.1.1"), "de") << "after blank lines and before junk";
  EXPECT_FALSE(flags.search("4.4.4.4")) << "a file with another ending is no zone";
  EXPECT_FALSE(flags.search("1.2.3.4")) << "neither is a text file";
  EXPECT_FALSE(flags.search("2001:db8::1"));

  EXPECT_EQ(flags.locate("151.12.1.1"), (NationLocation{"Italy", "it", false}));
  EXPECT_EQ(flags.locate("8.8.8.8"), (NationLocation{"United States", "terra", false})) << "no flag image";
  EXPECT_EQ(flags.locate("9.9.9.9"), (NationLocation{"Unknown location", "terra", true}));
}

TEST_F(FlagsFixture, TheSharedDirectoryComesFirstAndUnreadableFilesAreEmpty) {
  const Paths paths = pathsWith("/bundle");
  files_.addFile("/bundle/aggregated/it-aggregated.zone", "1.0.0.0/8\n");
  HXFlagsController flags(paths, files_, files_);
  flags.makeDict();
  EXPECT_EQ(flags.thePath(), "/bundle/aggregated");
  EXPECT_EQ(flags.search("1.1.1.1"), "it");

  files_.addDirectory(paths.nationsDir());
  files_.addFile(paths.nationsDir() + "/zz-aggregated.zone", "1.0.0.0/8\n");
  files_.addFile(paths.nationsDir() + "/fr-aggregated.zone", std::nullopt);
  flags.makeDict();
  EXPECT_EQ(flags.thePath(), "/root-of-test/var/lib/halvex/nations/aggregated");
  EXPECT_TRUE(flags.nationsTable()->at("fr").empty());
  EXPECT_EQ(flags.locate("1.1.1.1"), (NationLocation{"Unknown", "terra", false})) << "ZZ names Unknown";
}

TEST_F(FlagsFixture, SpecialRangesComeBeforeTheCountriesAndFindFlagDeliversOnTheLoop) {
  files_.addFile("/bundle/aggregated/it-aggregated.zone", "0.0.0.0/0\n");
  HXFlagsController flags(pathsWith("/bundle"), files_, files_, [](const std::string&) { return true; });
  flags.makeDict();
  const NationLocation loopback{"Loopback Interface", "NSComputer", false};
  const NationLocation lan{"Local Area Network", "homelanicon", false};
  EXPECT_EQ(flags.locate("127.0.0.1"), loopback);
  EXPECT_EQ(flags.locate("::ffff:127.0.0.1"), loopback);
  EXPECT_EQ(flags.locate("17.1.2.3"), (NationLocation{"Apple Corporate Network", "appleicon", false}));
  for (const char* a : {"192.168.4.4", "172.31.255.1", "10.1.2.3", "169.254.9.9", "::ffff:10.0.0.1", "fe80::1.2.3.4"})
    EXPECT_EQ(flags.locate(a), lan) << a;
  EXPECT_EQ(flags.locate("172.32.0.1"), (NationLocation{"Italy", "it", false}));
  EXPECT_FALSE(flags.locate("2001:db8::1")) << "no location for IPv6";

  // The search runs off the loop and the answer is delivered on it (the console shows what it says).
  test::ManualLoop loop;
  ConcurrentQueue findFlag("findFlag");
  bool onLoop = false;
  ASSERT_TRUE(flags.findFlag("5.6.7.8", findFlag, loop, [&](const NationLocation&) { onLoop = loop.isLoopThread(); }));
  ASSERT_TRUE(loop.waitAndRun());
  EXPECT_TRUE(onLoop);
  EXPECT_FALSE(flags.findFlag("2001:db8::5", findFlag, loop, [](const NationLocation&) {}));

  test::MemoryFiles nothing;
  HXFlagsController empty(pathsWith("/bundle"), nothing, nothing);
  empty.makeDict();
  EXPECT_TRUE(empty.isEmpty());
  EXPECT_FALSE(empty.locate("127.0.0.1"));
}

// The program loads the zones on a background queue at start while look-ups may already run: each
// answers nothing before the table is published and the whole answer afterwards, never a part.
TEST_F(FlagsFixture, ZonesLoadOnAQueueWhileLookUpsRun) {
  std::string zone;
  for (int i = 0; i < 20000; ++i) zone += "151." + std::to_string(i / 256) + "." + std::to_string(i % 256) + ".0/24\n";
  files_.addFile("/bundle/aggregated/it-aggregated.zone", zone);
  files_.addFile("/bundle/aggregated/zz-aggregated.zone", "0.0.0.0/0\n");
  HXFlagsController flags(pathsWith("/bundle"), files_, files_, [](const std::string&) { return true; });
  test::ManualLoop loop;
  ConcurrentQueue findFlag("findFlag"), global("global");
  EXPECT_FALSE(flags.findFlag("151.0.7.1", findFlag, loop, [](const NationLocation&) {}));

  std::atomic<bool> done{false};
  std::atomic<int> partial{0}, whole{0};
  std::vector<std::thread> readers;
  for (int r = 0; r < 3; ++r)
    readers.emplace_back([&] {
      bool seen = false;  // once published, the table is never half or gone again
      const auto check = [&](bool loaded, bool nothing) {
        if (loaded) seen = true, ++whole;
        else if (seen || !nothing) ++partial;
      };
      for (bool finished = false; !finished;) {
        finished = done.load();  // one more round after the load has ended
        const auto location = flags.locate("151.0.7.1");
        check(location == NationLocation{"Italy", "it", false}, !location);
        const auto code = flags.search("151.78.1.1");
        check(code == "it", !code);
        const auto size = flags.nationsTable()->size();
        check(size == 2, size == 0);
      }
    });
  global.async([&] { flags.awakeFromNib(), flags.makeDict(), done.store(true); });
  for (auto& t : readers) t.join();
  EXPECT_EQ(partial.load(), 0);
  EXPECT_GT(whole.load(), 0);
  EXPECT_TRUE(flags.findFlag("151.0.7.1", findFlag, loop, [](const NationLocation&) {}));
}

}  // namespace
}  // namespace halvex
