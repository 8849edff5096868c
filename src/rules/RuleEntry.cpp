#include "rules/RuleEntry.h"

#include <algorithm>
#include <array>
#include <limits>

#include "rules/HXRecord.h"

namespace halvex {
namespace {

constexpr std::string_view rangeWord = "_range";

std::string withoutAll(std::string_view text, std::string_view word) {
  std::string out;
  out.reserve(text.size());
  std::size_t pos = 0;
  while (pos < text.size()) {
    if (text.substr(pos, word.size()) == word) {
      pos += word.size();
    } else {
      out.push_back(text[pos++]);
    }
  }
  return out;
}

std::string withoutPrefixes(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text)
    if (c != '@' && c != '#') out.push_back(c);
  return out;
}

}  // namespace

std::optional<std::int64_t> parseBase10(std::string_view text) {
  std::size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  if (i == text.size()) return std::nullopt;
  std::int64_t value = 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c < '0' || c > '9') return std::nullopt;
    if (value > (std::numeric_limits<std::int64_t>::max() - (c - '0')) / 10) return std::nullopt;
    value = value * 10 + (c - '0');
  }
  return negative ? -value : value;
}

RuleEntry classifyRuleEntry(std::string_view entry) {
  RuleEntry result;
  if (entry.empty() || (entry.front() != '@' && entry.front() != '#')) return result;
  result.prefix = entry.front();
  if (entry.substr(1).starts_with(rangeWord)) {
    result.kind = RuleEntryKind::range;
    result.rowText = withoutAll(entry, rangeWord);
  } else {
    result.rowText = std::string(entry);
    if (entry.find('/') != std::string_view::npos) {
      result.kind = RuleEntryKind::subnet;
    } else {
      const auto number = parseBase10(entry.substr(1));
      result.kind = number && *number >= 1 && *number <= 65535 ? RuleEntryKind::port : RuleEntryKind::address;
    }
  }
  result.value = withoutPrefixes(result.rowText);
  return result;
}

std::string_view recordTypeName(RuleEntryKind kind) {
  switch (kind) {
    case RuleEntryKind::address: return "address";
    case RuleEntryKind::subnet: return "subnet";
    case RuleEntryKind::port: return "port";
    case RuleEntryKind::range: return "range";
    case RuleEntryKind::skip: break;
  }
  return "";
}

Image recordImageForKind(RuleEntryKind kind) {
  switch (kind) {
    case RuleEntryKind::address: return Image::named("icon_ip");
    case RuleEntryKind::subnet: return Image::named("icon_subnet");
    case RuleEntryKind::port: return Image::named("icon_port");
    case RuleEntryKind::range: return Image::named("icon_portrange");
    case RuleEntryKind::skip: break;
  }
  return Image{};
}

std::vector<std::shared_ptr<HXRecord>> recordsForMatches(const RulesContext& context,
                                                         const std::vector<std::string>& appMatches,
                                                         std::int64_t appIsBlockedOrAllowed) {
  std::vector<RuleEntry> entries;
  entries.reserve(appMatches.size());
  for (const auto& match : appMatches) {
    auto entry = classifyRuleEntry(match);
    if (entry.kind != RuleEntryKind::skip) entries.push_back(std::move(entry));
  }

  static constexpr std::array kindOrder{RuleEntryKind::address, RuleEntryKind::subnet, RuleEntryKind::port,
                                        RuleEntryKind::range};
  std::vector<std::shared_ptr<HXRecord>> rows;
  rows.reserve(entries.size() + 1);
  for (const auto kind : kindOrder) {
    for (const char prefix : {'#', '@'}) {
      for (const auto& entry : entries) {
        if (entry.kind != kind || entry.prefix != prefix) continue;
        rows.push_back(std::make_shared<HXRecord>(context, entry.rowText, std::string(recordTypeName(kind)),
                                                  recordImageForKind(kind), entry.rule()));
      }
    }
  }

  std::optional<std::int64_t> everyoneRule;
  if (appIsBlockedOrAllowed == 0 || appIsBlockedOrAllowed == 2) everyoneRule = 0;
  if (appIsBlockedOrAllowed == 1 || appIsBlockedOrAllowed == 3) everyoneRule = 1;
  if (everyoneRule) {
    rows.push_back(std::make_shared<HXRecord>(context, HXRecord::everyone, std::string(HXRecord::everyone),
                                              Image::named("grp_everyone"), *everyoneRule));
  }
  return rows;
}

std::string entryFromRecord(const HXRecord& record) {
  if (record.recordType == recordTypeName(RuleEntryKind::range)) {
    return record.recordPrefix + std::string(rangeWord) + record.recordAddress;
  }
  return record.recordPrefix + record.recordAddress;
}

}  // namespace halvex
