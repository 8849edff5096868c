#pragma once
// The country zones and the two ways of searching them.
//
// A NationsTable maps a country code, as it stands in the zone file's name, to the lines of that
// file. The plain search walks the codes in the table's order and each code's lines in file order
// and stops at the first network that holds the address. The index answers the same question by
// one binary search: at load time every network becomes a range, and a sweep over the ranges cuts
// the address space into disjoint segments, each owned by the network the walk would have met
// first. So the two agree on every table, overlapping networks included.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvex {

using NationsTable = std::map<std::string, std::vector<std::string>>;

// The walk: code of the first network holding the address, in table order.
std::optional<std::string> searchNationsLinear(const NationsTable& table, std::string_view address);

class CountryIndex {
 public:
  CountryIndex() = default;
  static CountryIndex build(const NationsTable& table);

  std::optional<std::string_view> find(std::uint32_t address) const;
  std::optional<std::string_view> find(std::string_view address) const;

  std::size_t networkCount() const { return networks_; }
  std::size_t segmentCount() const { return starts_.size(); }
  std::size_t memoryBytes() const;

 private:
  static constexpr std::uint16_t kNoCountry = 0xFFFF;
  // Segment i covers starts_[i] up to starts_[i + 1] - 1 (the last one up to the top address).
  std::vector<std::uint32_t> starts_;
  std::vector<std::uint16_t> owners_;
  std::vector<std::string> codes_;
  std::size_t networks_ = 0;
};

}  // namespace halvex
