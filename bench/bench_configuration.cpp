// Export and import of a large configuration (10,000 apps with five entries each, 200 managed
// folders, 200 global rules) beside libplist's bare serialize and parse of the same documents in
// the same run, and the resident memory an imported app costs.
//
// The encoded file has two layers (an XML array around a binary keyed archive), so its bare
// baseline is both layers: the archive's tree to binary plus the outer tree to XML, and back.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <plist/plist.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <new>

#include "configuration/Globals.h"
#include "configuration/HXConfiguration.h"
#include "fakes/World.h"
#include "platform/linux/LinuxProcessControl.h"
#include "rules/HXApplication.h"
#include "rules/HXExclusion.h"
#include "rules/HXManagedRecords.h"
#include "runtime/AgentLoop.h"
#include "runtime/PlistIO.h"

using namespace halvex;

namespace {

constexpr int kApps = 10000;
constexpr int kFolders = 200;
constexpr int kRules = 200;

// One agent in memory through the program's composition, its daemon carrier keeping nothing.
struct World : test::World {
  World() { center.recordPosts = false; }

  void fill() {
    for (int i = 0; i < kApps; ++i) {
      const std::string name = "app" + std::to_string(i);
      auto app = HXApplication::initWithAppName(context, name + ".app", {name + ".app/"}, true, false,
                                                "/Applications/" + name + ".app");
      app->setRule(4);
      app->appMatches = {"@192.0.2." + std::to_string(i % 250), "#198.51.100.0/24", "@443", "#_range6000:6100",
                         "@2001:db8::" + std::to_string(i % 9999)};
      apps.appsLibrary.push_back(app);
      globals.globalAppsArray.push_back(app);
    }
    for (int i = 0; i < kFolders; ++i)
      globals.globalExclusionsArray.push_back(
          std::make_shared<HXExclusion>(context, "/opt/folder" + std::to_string(i), i % 2, false, false));
    for (int i = 0; i < kRules; ++i)
      globals.globalRecordsArray.push_back(
          std::make_shared<HXManagedRecords>("10." + std::to_string(i) + ".0.0/16", 1, i % 2));
    records.recordsLibrary = globals.globalRecordsArray;
  }

  AppsLibraryHolder& apps = agent.appsLibrary;
  ExclusionsLibraryHolder& exclusions = agent.exclusionsLibrary;
  RecordsLibraryHolder& records = agent.recordsLibrary;
};

World& filledWorld() {
  static World* world = [] {
    auto* w = new World;
    w->fill();
    w->configuration.exportConf("/encoded.plist", true, false, false);
    w->configuration.exportConf("/plain.plist", false, false, false);
    return w;
  }();
  return *world;
}

struct PlistFree {
  void operator()(plist_t p) const { plist_free(p); }
};
using Tree = std::unique_ptr<void, PlistFree>;

Tree treeOfXml(const std::string& xml) {
  plist_t t = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &t);
  return Tree(t);
}

std::string innerArchive(const std::string& encodedXml) {
  Tree outer = treeOfXml(encodedXml);
  plist_t wrapper = plist_array_get_item(outer.get(), 0);
  plist_t data = plist_dict_get_item(wrapper, "HalvexConfiguration");
  std::uint64_t length = 0;
  const char* bytes = plist_get_data_ptr(data, &length);
  return std::string(bytes, length);
}

void BM_ExportEncoded(benchmark::State& state) {
  auto& w = filledWorld();
  for (auto _ : state) w.configuration.exportConf("/out.plist", true, false, false);
  state.counters["bytes"] = static_cast<double>(w.files.readFile("/out.plist")->size());
}

void BM_BareSerializeEncoded(benchmark::State& state) {
  auto& w = filledWorld();
  const std::string encoded = *w.files.readFile("/encoded.plist");
  const std::string archive = innerArchive(encoded);
  Tree inner;
  {
    plist_t t = nullptr;
    plist_from_bin(archive.data(), static_cast<std::uint32_t>(archive.size()), &t);
    inner.reset(t);
  }
  Tree outer = treeOfXml(encoded);
  for (auto _ : state) {
    char* bin = nullptr;
    std::uint32_t binLength = 0;
    plist_to_bin(inner.get(), &bin, &binLength);
    char* xml = nullptr;
    std::uint32_t xmlLength = 0;
    plist_to_xml(outer.get(), &xml, &xmlLength);
    benchmark::DoNotOptimize(bin);
    benchmark::DoNotOptimize(xml);
    plist_to_bin_free(bin);
    plist_to_xml_free(xml);
  }
}

void BM_ImportEncoded(benchmark::State& state) {
  World w;
  w.files.writeFileAtomically("/encoded.plist", *filledWorld().files.readFile("/encoded.plist"));
  for (auto _ : state) w.configuration.importConf("/encoded.plist", true);
  state.counters["apps"] = static_cast<double>(w.globals.globalAppsArray.size());
}

void BM_BareParseEncoded(benchmark::State& state) {
  const std::string encoded = *filledWorld().files.readFile("/encoded.plist");
  for (auto _ : state) {
    Tree outer = treeOfXml(encoded);
    plist_t wrapper = plist_array_get_item(outer.get(), 0);
    std::uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(plist_dict_get_item(wrapper, "HalvexConfiguration"), &length);
    plist_t inner = nullptr;
    plist_from_bin(bytes, static_cast<std::uint32_t>(length), &inner);
    benchmark::DoNotOptimize(inner);
    plist_free(inner);
  }
}

void BM_ExportPlain(benchmark::State& state) {
  auto& w = filledWorld();
  for (auto _ : state) w.configuration.exportConf("/out.plist", false, false, false);
}

void BM_BareSerializePlain(benchmark::State& state) {
  Tree tree = treeOfXml(*filledWorld().files.readFile("/plain.plist"));
  for (auto _ : state) {
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(tree.get(), &xml, &length);
    benchmark::DoNotOptimize(xml);
    plist_to_xml_free(xml);
  }
}

void BM_ImportPlain(benchmark::State& state) {
  World w;
  w.files.writeFileAtomically("/plain.plist", *filledWorld().files.readFile("/plain.plist"));
  for (auto _ : state) w.configuration.importConf("/plain.plist", true);
}

void BM_BareParsePlain(benchmark::State& state) {
  const std::string plain = *filledWorld().files.readFile("/plain.plist");
  for (auto _ : state) benchmark::DoNotOptimize(treeOfXml(plain));
}

long residentBytes() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0, resident = 0;
  statm >> pages >> resident;
  return resident * ::sysconf(_SC_PAGESIZE);
}

}  // namespace

// The bytes our own code holds, in every thread: the import runs on the request queue, whose
// thread has its own allocator arena, out of sight of the main arena's statistics. Counted only
// while a measurement asks for it, so the timed benchmarks pay one relaxed load per allocation.
namespace {
std::atomic<bool> countingAllocations{false};
std::atomic<long long> allocatedBytes{0};
}  // namespace

// The replacements pair malloc with free by design; g++ sees only the default pairing.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  void* p = std::malloc(size == 0 ? 1 : size);
  if (!p) throw std::bad_alloc();
  if (countingAllocations.load(std::memory_order_relaxed))
    allocatedBytes.fetch_add(static_cast<long long>(::malloc_usable_size(p)), std::memory_order_relaxed);
  return p;
}

void operator delete(void* p) noexcept {
  if (!p) return;
  if (countingAllocations.load(std::memory_order_relaxed))
    allocatedBytes.fetch_sub(static_cast<long long>(::malloc_usable_size(p)), std::memory_order_relaxed);
  std::free(p);
}

void operator delete(void* p, std::size_t) noexcept { operator delete(p); }
#pragma GCC diagnostic pop

namespace {

void BM_ResidentMemoryPerApp(benchmark::State& state) {
  const std::string encoded = *filledWorld().files.readFile("/encoded.plist");
  double residentPerApp = 0;
  double heapPerApp = 0;
  for (auto _ : state) {
    auto w = std::make_unique<World>();
    w->files.writeFileAtomically("/encoded.plist", encoded);
    const long residentBefore = residentBytes();
    allocatedBytes = 0;
    countingAllocations = true;
    w->configuration.importConf("/encoded.plist", true);
    countingAllocations = false;
    heapPerApp = static_cast<double>(allocatedBytes.load()) / kApps;
    residentPerApp = static_cast<double>(residentBytes() - residentBefore) / kApps;
  }
  state.counters["heap_bytes_per_app"] = heapPerApp;
  state.counters["resident_bytes_per_app"] = residentPerApp;
}

}  // namespace

// First, while the heap holds no freed memory that an import could reuse unseen.
BENCHMARK(BM_ResidentMemoryPerApp)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_ExportEncoded)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BareSerializeEncoded)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImportEncoded)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BareParseEncoded)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ExportPlain)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BareSerializePlain)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImportPlain)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BareParsePlain)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
