#include "rules/AppPaths.h"

#include "rules/HXApplication.h"

namespace halvex {
namespace {

bool endsWithApp(std::string_view s) { return s.size() >= 4 && s.substr(s.size() - 4) == ".app"; }

std::vector<std::string_view> components(std::string_view path) {
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  for (;;) {
    const auto slash = path.find('/', start);
    if (slash == std::string_view::npos) {
      parts.push_back(path.substr(start));
      return parts;
    }
    parts.push_back(path.substr(start, slash - start));
    start = slash + 1;
  }
}

void replaceAll(std::string& s, std::string_view from, std::string_view to) {
  for (auto at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size()))
    s.replace(at, from.size(), to);
}

}  // namespace

bool isInsideBundle(std::string_view path) { return path.find(kBundleContents) != std::string_view::npos; }

std::string firstBundleComponent(std::string_view path) {
  for (auto part : components(path))
    if (endsWithApp(part)) return std::string(part);
  return {};
}

std::string appBundlePath(std::string_view path) {
  if (!isInsideBundle(path)) return std::string(path);
  std::string joined;
  bool first = true;
  for (auto part : components(path)) {
    if (!first) joined += '/';
    joined += part;
    first = false;
    if (endsWithApp(part)) break;
  }
  // Twice, as the join may leave doubled separators of an untidy path.
  replaceAll(joined, "//", "/");
  replaceAll(joined, "//", "/");
  return joined;
}

std::string shortNameOfPath(std::string_view path) {
  std::string name;
  if (isInsideBundle(path)) {
    name = firstBundleComponent(path);
  } else {
    const auto parts = components(path);
    name = std::string(parts.back());
  }
  if (endsWithApp(name)) name.resize(name.size() - 4);
  return name;
}

std::shared_ptr<HXApplication> findAppForPath(const std::vector<std::shared_ptr<HXApplication>>& apps,
                                              std::string_view path) {
  if (isInsideBundle(path)) {
    const std::string bundle = firstBundleComponent(path);
    for (const auto& app : apps)
      if (app->appName == bundle) return app;
    return nullptr;
  }
  for (const auto& app : apps)
    if (app->appPath == path) return app;
  return nullptr;
}

}  // namespace halvex
