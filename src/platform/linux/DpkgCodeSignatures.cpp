#include "platform/linux/DpkgCodeSignatures.h"

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
                                       std::string dpkg)
    : runner_(runner), vendor_(std::move(systemVendor)), dpkgQuery_(std::move(dpkgQuery)), dpkg_(std::move(dpkg)) {
  if (vendor_.empty()) vendor_ = vendorFromOrigins();
}

std::optional<DpkgCodeSignatures::Owner> DpkgCodeSignatures::owner(const std::string& path) {
  std::vector<std::string> candidates{path};
  if (char* resolved = ::realpath(path.c_str(), nullptr)) {
    candidates.emplace_back(resolved);
    std::free(resolved);
  }
  for (std::size_t i = 0, n = candidates.size(); i < n; ++i) {
    const std::string& c = candidates[i];
    if (c.rfind("/usr/", 0) == 0) candidates.push_back(c.substr(4));
    else if (!c.empty() && c.front() == '/') candidates.push_back("/usr" + c);
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
  const ProcessResult r = runner_.run(
      {dpkgQuery_, {"-W", "-f=${Version}\\t${Architecture}\\t${Origin}\\t${Maintainer}", owner.package}, false,
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
  // A package without an origin of its own was built for the distribution.
  if (origin.empty()) origin = vendor_;
  std::string text = "Executable=" + path + "\nIdentifier=" + owner.package + "\nFormat=package " + version +
                     " (" + architecture + ")\n";
  if (origin == vendor_) text += "Authority=Software Signing\n";
  text += "Authority=" + origin + "\n";
  if (full) text += "Maintainer=" + maintainer + "\nPackagePath=" + owner.ownedPath + "\n";
  return text;
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
