#include "intelligence/CountryIndex.h"

#include <algorithm>
#include <queue>

#include "intelligence/Ipv4Text.h"

namespace halvex {

std::optional<std::string> searchNationsLinear(const NationsTable& table, std::string_view address) {
  for (const auto& [code, lines] : table) {
    for (const auto& line : lines) {
      if (line.empty()) continue;
      if (matchIpv4(address, line)) return code;
    }
  }
  return std::nullopt;
}

CountryIndex CountryIndex::build(const NationsTable& table) {
  CountryIndex index;
  struct Event {
    std::uint64_t at;     // first address, or one past the last
    std::uint32_t order;  // the walk's order of the network
    bool opens;
  };
  std::vector<std::uint16_t> ownerOfOrder;  // order -> code number
  std::vector<Event> events;
  for (const auto& [code, lines] : table) {
    if (index.codes_.size() >= kNoCountry) break;
    const auto codeNumber = static_cast<std::uint16_t>(index.codes_.size());
    index.codes_.push_back(code);
    for (const auto& line : lines) {
      if (line.empty()) continue;
      const auto range = parseIpv4Network(line);
      if (!range) continue;
      const auto order = static_cast<std::uint32_t>(ownerOfOrder.size());
      ownerOfOrder.push_back(codeNumber);
      events.push_back({range->first, order, true});
      events.push_back({std::uint64_t{range->last} + 1, order, false});
    }
  }
  index.networks_ = ownerOfOrder.size();
  std::sort(events.begin(), events.end(), [](const Event& a, const Event& b) { return a.at < b.at; });

  // The networks open at the moment, earliest in walk order on top; closed ones leave lazily.
  std::priority_queue<std::uint32_t, std::vector<std::uint32_t>, std::greater<>> open;
  std::vector<bool> closed(ownerOfOrder.size(), false);
  index.starts_.push_back(0);
  index.owners_.push_back(kNoCountry);
  for (std::size_t i = 0; i < events.size();) {
    const std::uint64_t at = events[i].at;
    for (; i < events.size() && events[i].at == at; ++i) {
      if (events[i].opens) open.push(events[i].order);
      else closed[events[i].order] = true;
    }
    if (at > 0xFFFFFFFFull) break;
    while (!open.empty() && closed[open.top()]) open.pop();
    const std::uint16_t owner = open.empty() ? kNoCountry : ownerOfOrder[open.top()];
    if (index.starts_.back() == at) {
      index.owners_.back() = owner;
      // A segment replaced in place may now equal the one before it.
      if (index.owners_.size() > 1 && index.owners_[index.owners_.size() - 2] == owner) {
        index.starts_.pop_back();
        index.owners_.pop_back();
      }
    } else if (index.owners_.back() != owner) {
      index.starts_.push_back(static_cast<std::uint32_t>(at));
      index.owners_.push_back(owner);
    }
  }
  index.starts_.shrink_to_fit();
  index.owners_.shrink_to_fit();
  return index;
}

std::optional<std::string_view> CountryIndex::find(std::uint32_t address) const {
  if (starts_.empty()) return std::nullopt;
  const auto after = std::upper_bound(starts_.begin(), starts_.end(), address);
  const auto segment = static_cast<std::size_t>(after - starts_.begin()) - 1;
  const std::uint16_t owner = owners_[segment];
  if (owner == kNoCountry) return std::nullopt;
  return std::string_view(codes_[owner]);
}

std::optional<std::string_view> CountryIndex::find(std::string_view address) const {
  const auto value = parseIpv4Address(address);
  if (!value) return std::nullopt;
  return find(*value);
}

std::size_t CountryIndex::memoryBytes() const {
  std::size_t bytes = sizeof(*this) + starts_.capacity() * sizeof(std::uint32_t) +
                      owners_.capacity() * sizeof(std::uint16_t) + codes_.capacity() * sizeof(std::string);
  for (const auto& code : codes_) bytes += code.capacity() > 15 ? code.capacity() + 1 : 0;
  return bytes;
}

}  // namespace halvex
