#pragma once
// Code signatures stood in for by package provenance. A file that no installed package owns is
// "not signed"; the package manager's checksum check of the owning package decides validity; the
// package's origin is the authority, and a package of the system's own vendor has the platform
// vendor's leaf authority "Software Signing". The answers are written in the layout of a
// code-signing tool's report (see CodeSignatures.h).

#include <optional>
#include <string>

#include "platform/CodeSignatures.h"
#include "platform/ProcessRunner.h"

namespace halvex {

class DpkgCodeSignatures final : public CodeSignatures {
 public:
  // `systemVendor` is the distribution (empty: read from dpkg's origins file).
  explicit DpkgCodeSignatures(ProcessRunner& runner, std::string systemVendor = {},
                              std::string dpkgQuery = "/usr/bin/dpkg-query", std::string dpkg = "/usr/bin/dpkg");
  std::string inspect(const std::string& path, SignatureQuery query) override;

  struct Owner {
    std::string package;
    std::string ownedPath;  // the path as the package database knows it
  };
  // Which package owns the file (the path as given, its resolved form, or its other half of a
  // merged /usr).
  std::optional<Owner> owner(const std::string& path);

 private:
  std::string verify(const std::string& path, const Owner& owner, bool verbose);
  std::string describe(const std::string& path, const Owner& owner, bool full);

  ProcessRunner& runner_;
  std::string vendor_;
  std::string dpkgQuery_;
  std::string dpkg_;
};

}  // namespace halvex
