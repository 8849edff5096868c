#include "intelligence/HXFlagsController.h"

#include "intelligence/CountryNames.h"
#include "intelligence/Ipv4Text.h"

namespace halvex {
namespace {

bool startsWith(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t from = 0;
  for (;;) {
    const auto at = text.find('\n', from);
    if (at == std::string::npos) {
      lines.push_back(text.substr(from));
      return lines;
    }
    lines.push_back(text.substr(from, at - from));
    from = at + 1;
  }
}

}  // namespace

HXFlagsController::HXFlagsController(const Paths& paths, const FileSystem& files, const DirectoryListing& listing,
                                     std::function<bool(const std::string&)> hasImage)
    : paths_(paths), files_(files), listing_(listing), hasImage_(std::move(hasImage)) {
  if (!hasImage_) {
    hasImage_ = [this](const std::string& name) {
      return files_.fileExists(paths_.resourcesDir() + "/flags/" + name + ".png");
    };
  }
  loaded_ = std::make_shared<Loaded>();
}

NationsTable HXFlagsController::loadZones(const FileSystem& files, const DirectoryListing& listing,
                                          const std::string& directory) {
  NationsTable table;
  const std::string folder = directory + "/";
  for (const auto& name : listing.list(directory)) {
    if (name.size() <= kZoneSuffix.size() ||
        name.compare(name.size() - kZoneSuffix.size(), kZoneSuffix.size(), kZoneSuffix) != 0)
      continue;
    const std::string file = folder + name;
    if (!files.fileExists(file)) continue;
    const std::string code = name.substr(0, name.find('-'));
    // A file that cannot be read counts as empty.
    const auto text = files.readFile(file);
    table[code] = text ? splitLines(*text) : std::vector<std::string>{};
  }
  return table;
}

void HXFlagsController::makeDict() {
  auto next = std::make_shared<Loaded>();
  next->thePath = paths_.nationsDir();
  if (!files_.isDirectory(next->thePath)) next->thePath = paths_.resource("aggregated", "");
  next->table = loadZones(files_, listing_, next->thePath);
  next->index = CountryIndex::build(next->table);
  std::lock_guard lock(mutex_);
  loaded_ = std::move(next);
}

std::shared_ptr<const HXFlagsController::Loaded> HXFlagsController::loaded() const {
  std::lock_guard lock(mutex_);
  return loaded_;
}

std::string HXFlagsController::thePath() const { return loaded()->thePath; }

std::shared_ptr<const NationsTable> HXFlagsController::nationsTable() const {
  auto l = loaded();
  return std::shared_ptr<const NationsTable>(l, &l->table);
}

bool HXFlagsController::isEmpty() const { return loaded()->table.empty(); }
std::size_t HXFlagsController::networkCount() const { return loaded()->index.networkCount(); }
std::size_t HXFlagsController::indexMemoryBytes() const { return loaded()->index.memoryBytes(); }

std::optional<std::string> HXFlagsController::search(std::string_view address) const {
  const auto l = loaded();
  const auto code = l->index.find(address);
  if (!code) return std::nullopt;
  return std::string(*code);
}

std::optional<std::string> HXFlagsController::searchLinear(std::string_view address) const {
  return searchNationsLinear(loaded()->table, address);
}

NationLocation HXFlagsController::countryLocation(const std::optional<std::string>& code) const {
  if (!code) return {std::string(kUnknownLocation), std::string(kUnknownLocationImage), true};
  NationLocation location;
  location.image = hasImage_(*code) ? *code : std::string(kUnknownLocationImage);
  location.name = countryName(*code).value_or(std::string(kUnknownLocation));
  return location;
}

std::optional<NationLocation> HXFlagsController::locate(std::string_view address) const {
  // One snapshot for the whole answer: a load that lands meanwhile is seen entirely or not at all.
  const auto l = loaded();
  if (address.find('.') == std::string_view::npos || l->table.empty()) return std::nullopt;
  std::string_view a = address;
  if (startsWith(a, "::ffff:")) a.remove_prefix(7);
  if (startsWith(a, "17.")) return NationLocation{"Apple Corporate Network", "appleicon", false};
  if (startsWith(a, "127.")) return NationLocation{"Loopback Interface", "NSComputer", false};
  for (const char* network : {"192.168.0.0/16", "172.16.0.0/12", "10.0.0.0/8", "169.254.0.0/16"})
    if (matchIpv4(a, network)) return NationLocation{"Local Area Network", "homelanicon", false};
  if (startsWith(address, "fe80::") || startsWith(address, "fc") || startsWith(address, "fd"))
    return NationLocation{"Local Area Network", "homelanicon", false};
  const auto code = l->index.find(a);
  return countryLocation(code ? std::optional<std::string>(*code) : std::nullopt);
}

bool HXFlagsController::findFlag(std::string address, ConcurrentQueue& queue, MainLoop& loop,
                                 std::function<void(const NationLocation&)> deliver) const {
  if (address.find('.') == std::string::npos || isEmpty()) return false;
  queue.async([this, address = std::move(address), &loop, deliver = std::move(deliver)] {
    auto location = locate(address);
    if (!location) return;
    loop.post([deliver, location = std::move(*location)] { deliver(location); });
  });
  return true;
}

}  // namespace halvex
