#pragma once
// Code signatures stood in for by package provenance. A file that no installed package owns is
// "not signed"; the package manager's checksum check of the owning package decides validity; the
// package's origin is the authority. Only a package whose installed version an archive of the
// system's own vendor publishes has the platform vendor's leaf authority "Software Signing";
// every other package is a third party's, named by its origin, or "an unknown origin" when none
// can be told. The answers are written in the layout of a code-signing tool's report (see
// CodeSignatures.h).

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "platform/CodeSignatures.h"
#include "platform/ProcessRunner.h"

namespace halvex {

// The authority named for a package whose origin cannot be told.
inline constexpr const char* kUnknownPackageOrigin = "an unknown origin";

class DpkgCodeSignatures final : public CodeSignatures {
 public:
  // `systemVendor` is the distribution (empty: read from dpkg's origins file).
  explicit DpkgCodeSignatures(ProcessRunner& runner, std::string systemVendor = {},
                              std::string dpkgQuery = "/usr/bin/dpkg-query", std::string dpkg = "/usr/bin/dpkg",
                              std::string aptCache = "/usr/bin/apt-cache");
  std::string inspect(const std::string& path, SignatureQuery query) override;
  // The system's vendor as the reports name it; the texts shown to the user should name the same.
  const std::string& vendor() const { return vendor_; }

  struct Owner {
    std::string package;
    std::string ownedPath;  // the path as the package database knows it
  };
  // Which package owns the file (the path as given, its resolved form, or its other half of a
  // merged /usr).
  std::optional<Owner> owner(const std::string& path);

  // Who stands behind an installed version of a package.
  struct Provenance {
    bool vendor = false;  // an archive of the system's vendor publishes this very version
    std::string origin;   // the vendor, a third party, or empty when nobody can be named
    std::string how;      // how the origin was told, for the full description
    bool operator==(const Provenance&) const = default;
  };
  // `declaredOrigin` is the package's own Origin field (possibly empty).
  Provenance provenance(const std::string& package, const std::string& version, const std::string& declaredOrigin);

 private:
  std::string verify(const std::string& path, const Owner& owner, bool verbose);
  std::string describe(const std::string& path, const Owner& owner, bool full);
  // Archive (as apt names its package file) -> the origin its release file declares.
  std::map<std::string, std::string> archiveOrigins(bool reload);

  ProcessRunner& runner_;
  std::string vendor_;
  std::string dpkgQuery_;
  std::string dpkg_;
  std::string aptCache_;

  std::mutex mutex_;  // guards the two caches below
  std::optional<std::map<std::string, std::string>> archives_;
  std::map<std::string, Provenance> provenances_;  // by "package=version"
};

}  // namespace halvex
