#include "platform/linux/DpkgCodeSignatures.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <vector>

namespace halvex {
namespace {

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::size_t from = 0;
  while (from < text.size()) {
    auto end = text.find('\n', from);
    if (end == std::string::npos) end = text.size();
    out.push_back(text.substr(from, end - from));
    from = end + 1;
  }
  return out;
}

bool endsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

bool startsWith(const std::string& s, const std::string& head) { return s.rfind(head, 0) == 0; }

std::string trimmed(const std::string& s) {
  const auto first = s.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

// apt writes an archive as "<priority> <package file>"; the package file without the priority, or
// nothing for a text that does not start with a priority.
std::optional<std::string> withoutPriority(const std::string& text) {
  if (text.empty()) return std::nullopt;
  std::size_t at = text[0] == '-' ? 1 : 0;
  const std::size_t digits = at;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  if (at == digits || at >= text.size() || text[at] != ' ') return std::nullopt;
  auto rest = trimmed(text.substr(at));
  if (rest.empty()) return std::nullopt;
  return rest;
}

// The "o=" field of apt's "release v=..,o=..,a=.." line.
std::string releaseOrigin(const std::string& release) {
  std::size_t from = release.find(' ') + 1;
  while (from > 0 && from < release.size()) {
    const auto comma = release.find(',', from);
    const auto field = release.substr(from, comma == std::string::npos ? std::string::npos : comma - from);
    if (startsWith(field, "o=")) return field.substr(2);
    if (comma == std::string::npos) break;
    from = comma + 1;
  }
  return {};
}

std::string vendorFromOrigins() {
  std::ifstream in("/etc/dpkg/origins/default");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("Vendor:", 0) == 0) {
      auto v = line.substr(7);
      while (!v.empty() && v.front() == ' ') v.erase(0, 1);
      return v;
    }
  return "Debian";
}

}  // namespace

DpkgCodeSignatures::DpkgCodeSignatures(ProcessRunner& runner, std::string systemVendor, std::string dpkgQuery,
                                       std::string dpkg, std::string aptCache)
    : runner_(runner),
      vendor_(std::move(systemVendor)),
      dpkgQuery_(std::move(dpkgQuery)),
      dpkg_(std::move(dpkg)),
      aptCache_(std::move(aptCache)) {
  if (vendor_.empty()) vendor_ = vendorFromOrigins();
}

std::optional<DpkgCodeSignatures::Owner> DpkgCodeSignatures::owner(const std::string& path) {
  // Each place is asked once: a query reads the whole file database.
  std::vector<std::string> candidates{path};
  const auto add = [&candidates](std::string c) {
    if (std::find(candidates.begin(), candidates.end(), c) == candidates.end()) candidates.push_back(std::move(c));
  };
  if (char* resolved = ::realpath(path.c_str(), nullptr)) {
    add(resolved);
    std::free(resolved);
  }
  for (std::size_t i = 0, n = candidates.size(); i < n; ++i) {
    const std::string c = candidates[i];
    if (c.rfind("/usr/", 0) == 0) add(c.substr(4));
    else if (!c.empty() && c.front() == '/') add("/usr" + c);
  }
  for (const auto& candidate : candidates) {
    // Wildcards would make the query a pattern; such a path is looked for only literally below.
    const ProcessResult r = runner_.run({dpkgQuery_, {"-S", candidate}, false, std::chrono::seconds(20)});
    if (!r.launched || r.exitStatus != 0) continue;
    for (const auto& line : lines(r.output)) {
      const std::string tail = ": " + candidate;
      if (!endsWith(line, tail)) continue;
      std::string packages = line.substr(0, line.size() - tail.size());
      const auto comma = packages.find(',');
      if (comma != std::string::npos) packages.resize(comma);
      if (packages.find("diversion by") != std::string::npos) continue;
      return Owner{packages, candidate};
    }
  }
  return std::nullopt;
}

std::string DpkgCodeSignatures::verify(const std::string& path, const Owner& owner, bool verbose) {
  const ProcessResult r = runner_.run({dpkg_, {"--verify", owner.package}, true, std::chrono::seconds(60)});
  if (!r.launched) return path + ": the package database cannot be checked\n";
  for (const auto& line : lines(r.output))
    if (endsWith(line, " " + owner.ownedPath))
      return path + ": a sealed resource is missing or invalid\nfile modified: " + owner.ownedPath + "\n";
  if (!verbose) return {};
  return path + ": valid on disk\n" + path + ": satisfies its Designated Requirement\n";
}

std::string DpkgCodeSignatures::describe(const std::string& path, const Owner& owner, bool full) {
  const ProcessResult r =
      runner_.run({dpkgQuery_,
                   {"-W", "-f=${Version}\\t${Architecture}\\t${Origin}\\t${Maintainer}", owner.package},
                   false,
                   std::chrono::seconds(20)});
  std::string version, architecture, origin, maintainer;
  if (r.launched && r.exitStatus == 0) {
    std::vector<std::string> fields;
    std::size_t from = 0;
    for (;;) {
      const auto tab = r.output.find('\t', from);
      fields.push_back(r.output.substr(from, tab == std::string::npos ? std::string::npos : tab - from));
      if (tab == std::string::npos) break;
      from = tab + 1;
    }
    fields.resize(4);
    version = fields[0];
    architecture = fields[1];
    origin = fields[2];
    maintainer = fields[3];
  }
  const Provenance who = provenance(owner.package, version, origin);
  std::string text = "Executable=" + path + "\nIdentifier=" + owner.package + "\nFormat=package " + version + " (" +
                     architecture + ")\n";
  if (who.vendor) text += "Authority=Software Signing\n";
  text += "Authority=" + (who.origin.empty() ? std::string(kUnknownPackageOrigin) : who.origin) + "\n";
  if (full) text += "Provenance=" + who.how + "\nMaintainer=" + maintainer + "\nPackagePath=" + owner.ownedPath + "\n";
  return text;
}

std::map<std::string, std::string> DpkgCodeSignatures::archiveOrigins(bool reload) {
  {
    std::lock_guard lock(mutex_);
    if (archives_ && !reload) return *archives_;
  }
  std::map<std::string, std::string> origins;
  const ProcessResult r = runner_.run({aptCache_, {"policy"}, false, std::chrono::seconds(20)});
  if (r.launched && r.exitStatus == 0) {
    bool inFiles = false;
    std::string archive;
    for (const auto& line : lines(r.output)) {
      if (trimmed(line) == "Package files:") {
        inFiles = true;
        continue;
      }
      if (!inFiles) continue;
      if (line.empty() || line[0] != ' ') break;  // the pinned packages follow
      const std::string text = trimmed(line);
      if (startsWith(text, "release ")) {
        if (!archive.empty()) origins[archive] = releaseOrigin(text);
      } else if (!startsWith(text, "origin ")) {
        archive = withoutPriority(text).value_or("");
        if (!archive.empty()) origins.emplace(archive, "");
      }
    }
  }
  std::lock_guard lock(mutex_);
  archives_ = origins;
  return origins;
}

DpkgCodeSignatures::Provenance DpkgCodeSignatures::provenance(const std::string& package, const std::string& version,
                                                              const std::string& declaredOrigin) {
  const std::string key = package + "=" + version;
  {
    std::lock_guard lock(mutex_);
    if (const auto it = provenances_.find(key); it != provenances_.end()) return it->second;
  }
  // The archives that publish the installed version: the lines under that version in the
  // package's version table, each "<priority> <package file>".
  std::vector<std::string> publishers;
  const ProcessResult r = runner_.run({aptCache_, {"policy", package}, false, std::chrono::seconds(20)});
  if (r.launched && r.exitStatus == 0) {
    bool inTable = false;
    bool thisVersion = false;
    for (const auto& line : lines(r.output)) {
      const auto indent = line.find_first_not_of(' ');
      if (indent == std::string::npos) continue;
      std::string text = trimmed(line);
      if (text == "Version table:") {
        inTable = true;
        continue;
      }
      if (!inTable) continue;
      if (indent < 6) {  // a version: "     1.2-3 500" or " *** 1.2-3 500"
        if (startsWith(text, "*** ")) text = trimmed(text.substr(4));
        thisVersion = text.substr(0, text.find(' ')) == version;
      } else if (thisVersion) {
        if (auto archive = withoutPriority(text)) publishers.push_back(std::move(*archive));
      }
    }
  }

  auto archives = archiveOrigins(false);
  bool reloaded = false;
  std::vector<std::string> origins;
  for (const auto& archive : publishers) {
    auto it = archives.find(archive);
    if (it == archives.end() && !reloaded) {  // an archive added since the list was read
      archives = archiveOrigins(true);
      reloaded = true;
      it = archives.find(archive);
    }
    if (it != archives.end() && !it->second.empty()) origins.push_back(it->second);
  }

  Provenance found;
  for (const auto& origin : origins)
    if (origin == vendor_) found = {true, vendor_, "archive of " + vendor_};
  if (!found.vendor && !origins.empty()) found = {false, origins.front(), "archive of " + origins.front()};
  // The package's own field is its maker's claim: it may name a third party, never the vendor.
  if (found.origin.empty() && !declaredOrigin.empty() && declaredOrigin != vendor_)
    found = {false, declaredOrigin, "declared by the package"};
  if (found.origin.empty()) found.how = "none: no known archive publishes version " + version;

  std::lock_guard lock(mutex_);
  provenances_.emplace(key, found);
  return found;
}

std::string DpkgCodeSignatures::inspect(const std::string& path, SignatureQuery query) {
  const auto found = owner(path);
  if (!found) return path + ": code object is not signed at all\n";
  switch (query) {
    case SignatureQuery::verify: return verify(path, *found, false);
    case SignatureQuery::verifyVerbose: return verify(path, *found, true);
    case SignatureQuery::describe: return describe(path, *found, false);
    case SignatureQuery::describeFull: return describe(path, *found, true);
  }
  return {};
}

}  // namespace halvex
