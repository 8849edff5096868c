#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "fakes/World.h"
#include "intelligence/SignatureFacts.h"
#include "platform/linux/DpkgCodeSignatures.h"
#include "platform/linux/LinuxProcessRunner.h"

namespace halvex {
namespace {

constexpr const char* kApp = "/opt/Some App/bin/some app";

class Signatures : public ::testing::Test {
 protected:
  Signatures() { w.files.addFile(kApp, "binary"); }

  // Runs the inspection of an app to its end and returns every delivery in order.
  std::vector<SignatureFacts> inspectApp(bool isBinary, SignatureFacts* immediate = nullptr) {
    std::vector<SignatureFacts> delivered;
    const auto first = inspector_.getSignatureInfo(kApp, isBinary, true, {}, [&](const SignatureFacts& f) {
      EXPECT_TRUE(w.loop.isLoopThread());
      delivered.push_back(f);
    });
    if (immediate) *immediate = first;
    drain();
    return delivered;
  }
  // The same for the alert's inspection, whose end is told once, after its last step.
  std::vector<AlertSignature> inspectAlert() {
    std::vector<AlertSignature> delivered;
    int finished = 0;
    inspector_.inspectForAlert(
        kApp,
        [&](const AlertSignature& a) {
          EXPECT_EQ(finished, 0);
          delivered.push_back(a);
        },
        [&] { ++finished; });
    drain();
    EXPECT_EQ(finished, 1);
    return delivered;
  }
  void drain() {
    while (w.loop.waitAndRun(std::chrono::milliseconds(200))) {
    }
  }

  test::World w;
  test::FakeCodeSignatures& signatures_ = w.signatures;
  SignatureInspector& inspector_ = w.agent.signatureInspector;
};

// The inspections below read the common reports; these are the edges they do not reach.
TEST(SignatureReports, AuthorityLinesAreWholeLinesAndTheNameEndsAtTheNextEquals) {
  EXPECT_FALSE(firstAuthorityLine("Identifier=x\n  Authority=indented\n"));
  EXPECT_EQ(authorityName("Authority=a=b"), "a");
  EXPECT_FALSE(isPlatformAuthority("Authority=Software Signing Ltd"));
}

TEST_F(Signatures, SwitchedOffOrMissingCountsAsValidWithoutInspecting) {
  const SignatureFacts held{"App is signed by Someone", false, false, true};
  const auto off = inspector_.getSignatureInfo(kApp, false, false, held, [](const SignatureFacts&) { FAIL(); });
  EXPECT_EQ(off, (SignatureFacts{"App is signed by Someone", true, true, false}));
  const auto missing = inspector_.getSignatureInfo("/gone", false, true, held, [](const SignatureFacts&) { FAIL(); });
  EXPECT_EQ(missing, off);
  drain();
  EXPECT_EQ(signatures_.calls(), 0);
}

// The reports of five programs, read by an app's inspection and by the alert's.
TEST_F(Signatures, NotSignedWinsOtherwiseTheLeafAuthorityNamesTheSignerOfAppsAndAlerts) {
  struct Case {
    const char *verify, *describe;
    std::vector<SignatureFacts> app;
    std::vector<AlertSignature> alert;
  };
  const SignatureFacts validApp{"", true, true, false};
  const AlertSignature validAlert{"valid signature", "", false, false, false};
  const Case cases[] = {{"x: invalid\nx: code object is not signed at all\n",
                         "Authority=Someone\n",
                         {{"App is not signed", false, true, false}},
                         {{"missing signature", "", true, false, false}}},
                        // An invalid signature is still described by its signer; the later platform line is ignored.
                        {"x: a sealed resource is missing or invalid\n",
                         "Identifier=x\nAuthority=Developer ID Application: Jane Roe\nAuthority=Software Signing\n",
                         {{"", true, false, false}, {"App is signed by Jane Roe", true, false, false}},
                         {{"invalid signature", "", false, true, false},
                          {"invalid signature", "signed by Jane Roe", false, true, false}}},
                        {"",
                         "Authority=Software Signing\nAuthority=Root\n",
                         {validApp, {"App is signed by Debian", true, true, true}},
                         {validAlert, {"valid signature", "signed by Debian", false, false, true}}},
                        {"",
                         "Authority=Apple Mac OS Application Signing\n",
                         {validApp, {"App is signed by Debian", true, true, true}},
                         {validAlert, {"valid signature", "signed by Debian", false, false, true}}},
                        // Without an authority line the facts stop at validity.
                        {"", "Identifier=x\n", {validApp}, {validAlert}}};
  for (const auto& c : cases) {
    signatures_.set(kApp, SignatureQuery::verify, c.verify);
    signatures_.set(kApp, SignatureQuery::describeFull, c.describe);
    SignatureFacts immediate;
    EXPECT_EQ(inspectApp(false, &immediate), c.app) << c.verify << c.describe;
    EXPECT_EQ(immediate, validApp) << "reset while the inspection runs";
    EXPECT_EQ(inspectAlert(), c.alert) << c.verify << c.describe;
  }
  signatures_.set(kApp, SignatureQuery::verify, "x: code object is not signed at all\n");
  EXPECT_EQ(inspectApp(true).back().appSignatureInfo, "Binary is not signed") << "a binary is named so";
}

TEST_F(Signatures, PanelShowsBothReportsOrTellsTheFileIsGone) {
  signatures_.set(kApp, SignatureQuery::verifyVerbose, "x: valid on disk\n");
  signatures_.set(kApp, SignatureQuery::describe, "Authority=Jane\n");
  SignaturePanel before;
  before.signtext = "old text";
  std::vector<SignaturePanel> delivered;
  const auto running =
      inspector_.showSignatureInfo(kApp, before, [&](const SignaturePanel& p) { delivered.push_back(p); });
  EXPECT_EQ(running, (SignaturePanel{true, false, "old text", ""}));
  drain();
  EXPECT_EQ(delivered,
            std::vector<SignaturePanel>{(SignaturePanel{
                false, true,
                "Signature validity check:\n\nx: valid on disk\n\n\nSignature details:\n\nAuthority=Jane\n", ""})});

  const auto gone =
      inspector_.showSignatureInfo("/gone", before, [&](const SignaturePanel& p) { delivered.push_back(p); });
  EXPECT_EQ(gone, (SignaturePanel{false, true, "old text", "File not found"}));
  drain();
  EXPECT_EQ(delivered.size(), 1u);
}

// A package world as dpkg and apt describe it: /usr/bin/tool belongs to pkg-a, whose installed
// version, origin field and publishing archives a test sets.
class PackageWorld : public ::testing::Test {
 protected:
  PackageWorld() {
    processes_.answer([this](const ProcessRequest& r) {
      ProcessResult result = test::exited(0);
      const auto& a = r.arguments;
      if (a == std::vector<std::string>{"policy"}) {
        result.output =
            "Package files:\n 100 /var/lib/dpkg/status\n     release a=now\n"
            " 500 http://deb.example/debian bookworm/main amd64 Packages\n"
            "     release v=12,o=Debian,a=stable,n=bookworm,l=Debian,c=main,b=amd64\n     origin deb.example\n"
            " 500 https://apt.corp.example stable/main amd64 Packages\n"
            "     release o=Example Corp,a=stable,n=stable,c=main,b=amd64\n     origin apt.corp.example\n"
            "Pinned packages:\n";
      } else if (a[0] == "policy") {
        result.output = "pkg-a:\n  Installed: " + version_ + "\n  Candidate: 2.0\n  Version table:\n" + versionTable_;
      } else if (a[0] == "-S") {
        if (a[1] != "/usr/bin/tool") result.exitStatus = 1;
        else result.output = "diversion by x from: /usr/bin/tool\npkg-a, pkg-b: /usr/bin/tool\n";
      } else if (a[0] == "--verify") {
        result.output = verifyOutput_;
      } else {
        result.output = version_ + "\tamd64\t" + declaredOrigin_ + "\tJane <j@x>";
      }
      return result;
    });
  }
  std::string authority() {
    return firstAuthorityLine(signatures_.inspect("/usr/bin/tool", SignatureQuery::describeFull)).value_or("none");
  }
  long policyQueries() const {
    const auto all = processes_.requests();
    const std::vector<std::string> query{"policy", "pkg-a"};
    return std::count_if(all.begin(), all.end(), [&](auto& r) { return r.arguments == query; });
  }

  test::FakeProcessRunner processes_;
  DpkgCodeSignatures signatures_{processes_, "Debian", "dpkg-query", "dpkg", "apt-cache"};
  std::string version_ = "1.0";
  std::string declaredOrigin_;
  std::string verifyOutput_;
  std::string versionTable_;
};

TEST_F(PackageWorld, OwnerAndChecksumBecomeTheVerification) {
  EXPECT_TRUE(reportsNotSigned(signatures_.inspect("/home/u/my tool", SignatureQuery::verify)));
  EXPECT_EQ(signatures_.inspect("/usr/bin/tool", SignatureQuery::verify), "");
  verifyOutput_ = "??5??????   /usr/bin/other\n??5?????? c /usr/bin/tool\n";
  const auto changed = signatures_.inspect("/usr/bin/tool", SignatureQuery::verify);
  EXPECT_TRUE(!changed.empty() && !reportsNotSigned(changed));
}

TEST_F(PackageWorld, OnlyAVersionTheVendorsArchivePublishesIsTheVendors) {
  const std::string vendor = "        500 http://deb.example/debian bookworm/main amd64 Packages\n";
  const std::string corp = "        500 https://apt.corp.example stable/main amd64 Packages\n";
  const std::string local = "        100 /var/lib/dpkg/status\n";
  const std::string unknown = "Authority=an unknown origin";
  struct Case {
    const char* what;
    std::string version, declared, table, authority;
  };
  const Case cases[] = {
      {"no origin field, no archive", "1.0", "", " *** 1.0 100\n" + local, unknown},
      {"the vendor's archive", "1.1", "", "     2.0 500\n" + vendor + " *** 1.1 500\n" + vendor + local,
       "Authority=Software Signing"},
      {"only a newer version published", "1.2", "", "     2.0 500\n" + vendor + " *** 1.2 100\n" + local, unknown},
      {"a third party's archive", "1.3", "", " *** 1.3 500\n" + corp, "Authority=Example Corp"},
      {"a local package claiming the vendor", "1.4", "Debian", " *** 1.4 100\n" + local, unknown},
      {"a local package naming its maker", "1.5", "Jane's Tools", " *** 1.5 100\n" + local, "Authority=Jane's Tools"},
  };
  for (const auto& c : cases) {
    version_ = c.version, declaredOrigin_ = c.declared, versionTable_ = c.table;
    EXPECT_EQ(authority(), c.authority) << c.what;
  }
  version_ = "1.1";
  const auto description = signatures_.inspect("/usr/bin/tool", SignatureQuery::describe);
  EXPECT_NE(description.find("Authority=Software Signing\nAuthority=Debian\n"), std::string::npos) << description;
  EXPECT_EQ(policyQueries(), 6) << "each installed version is looked up once";
}

// What the real database says of a packaged program is seen in the end-to-end signature check.
TEST(PackageProvenance, AnAwkwardNameReachesTheRealPackageDatabaseWhole) {
  if (!std::filesystem::exists("/usr/bin/dpkg-query")) GTEST_SKIP() << "no package database on this system";
  LinuxProcessRunner processes;
  DpkgCodeSignatures signatures(processes);
  const auto loose = std::filesystem::temp_directory_path() / "halvex sig \"q\" \xFF";
  std::ofstream(loose) << "x";
  EXPECT_TRUE(reportsNotSigned(signatures.inspect(loose.string(), SignatureQuery::verify)));
  std::filesystem::remove(loose);
}

}  // namespace
}  // namespace halvex
