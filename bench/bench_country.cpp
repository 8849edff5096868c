// Country look-up: the index (one binary search) against the walk over every zone line, on the
// same data in the same run. Data: the directory in HALVEX_NATIONS_DIR (the full set made by
// scripts/setup-country-data.sh), else the small test fixture.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "intelligence/CountryIndex.h"
#include "intelligence/HXFlagsController.h"
#include "intelligence/Ipv4Text.h"
#include "platform/linux/LinuxDirectoryListing.h"
#include "platform/linux/LinuxFileSystem.h"

namespace {

using namespace halvex;

std::string dataDirectory() {
  if (const char* dir = std::getenv("HALVEX_NATIONS_DIR")) return dir;
  std::string here = __FILE__;
  return here.substr(0, here.rfind('/')) + "/../tests/data/nations/aggregated";
}

struct Data {
  NationsTable table;
  CountryIndex index;
  std::vector<std::string> addresses;  // half inside some network, half anywhere
  std::size_t lines = 0;
};

const Data& data() {
  static const Data d = [] {
    Data d;
    LinuxFileSystem files;
    LinuxDirectoryListing listing;
    d.table = HXFlagsController::loadZones(files, listing, dataDirectory());
    d.index = CountryIndex::build(d.table);
    std::vector<Ipv4Range> ranges;
    for (const auto& [code, lines] : d.table)
      for (const auto& line : lines) {
        ++d.lines;
        if (auto r = parseIpv4Network(line)) ranges.push_back(*r);
      }
    std::mt19937 random(7);
    for (int i = 0; i < 4096; ++i) {
      std::uint32_t a = static_cast<std::uint32_t>(random());
      if (i % 2 == 0 && !ranges.empty()) {
        const auto& r = ranges[random() % ranges.size()];
        a = r.first + static_cast<std::uint32_t>(random() % (std::uint64_t{r.last} - r.first + 1));
      }
      d.addresses.push_back(std::to_string(a >> 24) + "." + std::to_string((a >> 16) & 255) + "." +
                            std::to_string((a >> 8) & 255) + "." + std::to_string(a & 255));
    }
    // The two searches must agree before their speeds mean anything.
    std::size_t disagreements = 0;
    for (std::size_t i = 0; i < 64; ++i) {
      const auto walked = searchNationsLinear(d.table, d.addresses[i]);
      const auto indexed = d.index.find(d.addresses[i]);
      if (walked.has_value() != indexed.has_value() || (walked && *walked != *indexed)) ++disagreements;
    }
    std::fprintf(stderr, "data: %s, %zu zones, %zu lines, %zu networks, %zu segments, %zu disagreements\n",
                 dataDirectory().c_str(), d.table.size(), d.lines, d.index.networkCount(), d.index.segmentCount(),
                 disagreements);
    return d;
  }();
  return d;
}

void BM_IndexedLookup(benchmark::State& state) {
  const Data& d = data();
  std::size_t i = 0, hits = 0;
  for (auto _ : state) {
    const auto code = d.index.find(d.addresses[i++ & 4095]);
    hits += code.has_value();
    benchmark::DoNotOptimize(code);
  }
  state.counters["hit_rate"] = benchmark::Counter(static_cast<double>(hits) / static_cast<double>(state.iterations()));
}
BENCHMARK(BM_IndexedLookup);

void BM_LinearWalk(benchmark::State& state) {
  const Data& d = data();
  std::size_t i = 0;
  for (auto _ : state) {
    const auto code = searchNationsLinear(d.table, d.addresses[i++ & 4095]);
    benchmark::DoNotOptimize(code);
  }
}
BENCHMARK(BM_LinearWalk)->Unit(benchmark::kMicrosecond);

// Load time of the index from the table already in memory, and its size.
void BM_BuildIndex(benchmark::State& state) {
  const Data& d = data();
  std::size_t bytes = 0;
  for (auto _ : state) {
    const CountryIndex index = CountryIndex::build(d.table);
    bytes = index.memoryBytes();
    benchmark::DoNotOptimize(bytes);
  }
  state.counters["index_bytes"] = static_cast<double>(bytes);
  state.counters["networks"] = static_cast<double>(d.index.networkCount());
  state.counters["segments"] = static_cast<double>(d.index.segmentCount());
}
BENCHMARK(BM_BuildIndex)->Unit(benchmark::kMillisecond);

// The whole start-up load: reading every zone file and building the index.
void BM_LoadZonesAndIndex(benchmark::State& state) {
  LinuxFileSystem files;
  LinuxDirectoryListing listing;
  const std::string dir = dataDirectory();
  for (auto _ : state) {
    const auto table = HXFlagsController::loadZones(files, listing, dir);
    const auto index = CountryIndex::build(table);
    benchmark::DoNotOptimize(index.segmentCount());
  }
}
BENCHMARK(BM_LoadZonesAndIndex)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
