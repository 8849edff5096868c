#pragma once
// The names of the countries and regions of the zone files, by upper-case two-letter code.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace halvex {

const std::map<std::string, std::string, std::less<>>& countryNames();
// The name of a code in any case ("it" and "IT" are Italy); nothing for an unknown code.
std::optional<std::string> countryName(std::string_view code);

}  // namespace halvex
