#pragma once
// Plain-text questions about a process path that the request side and the library share: the
// bundle a path lies in, its short name, and which managed app a path belongs to. No file is
// consulted.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace halvex {

class HXApplication;

inline constexpr std::string_view kBundleContents = ".app/Contents/";

bool isInsideBundle(std::string_view path);
// The first "/"-component ending in ".app", or "" when none does.
std::string firstBundleComponent(std::string_view path);
// The path up to and including its first component ending in ".app" (an inner bundle counts as
// the outermost one); a path outside any bundle is returned unchanged.
std::string appBundlePath(std::string_view path);
// The name shown for a process: its bundle's name, or for a plain binary the last component;
// without a final ".app".
std::string shortNameOfPath(std::string_view path);

// The first app the path belongs to: inside a bundle, the app whose name is the bundle's name
// (wherever the copy lies); otherwise the app whose path is the path. Exact comparisons.
std::shared_ptr<HXApplication> findAppForPath(const std::vector<std::shared_ptr<HXApplication>>& apps,
                                              std::string_view path);

}  // namespace halvex
