// Address matching and entry classification, in ns per call, beside a bare string comparison
// of the same texts as the baseline.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "rules/DVMatchIP.h"
#include "rules/RuleEntry.h"

namespace {

const std::vector<std::string> kAddresses = {"192.168.1.7", "10.20.30.40", "172.16.5.4", "8.8.8.8"};
const std::vector<std::string> kNetworks = {"192.168.0.0/16", "10.0.0.0/8", "172.16.0.0/12", "8.8.4.0/24"};
const std::vector<std::string> kAddresses6 = {"fe80::1", "2001:db8::1", "fd12:3456::9", "::1"};
const std::vector<std::string> kNetworks6 = {"fe80::/10", "2001:db8::/32", "fc00::/7", "::1"};
const std::vector<std::string> kEntries = {"@192.168.1.5", "#10.0.0.0/8",  "@443", "#_range8000:9000",
                                           "@fe80::1/64",  "#example.com", "443",  "@65536"};

void BM_BaselineStringCompare(benchmark::State& state) {
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& a = kAddresses[i % kAddresses.size()];
    const auto& b = kNetworks[i % kNetworks.size()];
    benchmark::DoNotOptimize(a.compare(0, 7, b, 0, 7) == 0);
    ++i;
  }
}
BENCHMARK(BM_BaselineStringCompare);

void BM_MatchIP(benchmark::State& state) {
  halvex::DVMatchIP match;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(match.matchIP(kAddresses[i % kAddresses.size()], kNetworks[i % kNetworks.size()]));
    ++i;
  }
}
BENCHMARK(BM_MatchIP);

void BM_MatchIPV6(benchmark::State& state) {
  halvex::DVMatchIP match;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(match.matchIPV6(kAddresses6[i % kAddresses6.size()], kNetworks6[i % kNetworks6.size()]));
    ++i;
  }
}
BENCHMARK(BM_MatchIPV6);

void BM_ClassifyRuleEntry(benchmark::State& state) {
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(halvex::classifyRuleEntry(kEntries[i % kEntries.size()]));
    ++i;
  }
}
BENCHMARK(BM_ClassifyRuleEntry);

}  // namespace

BENCHMARK_MAIN();
