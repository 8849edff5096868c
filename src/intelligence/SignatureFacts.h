#pragma once
// Who signed a program, in the three places the agent shows it:
//  - the facts kept on a managed app (when the inspection of apps is switched on),
//  - the signature panel of the app popover (the raw reports),
//  - the alert's lamps and texts for the process that asks.
// The reports come from the CodeSignatures port; they are read here. Reports are fetched on a
// background queue and every result is handed over on the main loop.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/CodeSignatures.h"
#include "platform/FileSystem.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/MainLoop.h"

namespace halvex {

// The signature facts an app record keeps.
struct SignatureFacts {
  std::string appSignatureInfo;       // sentence for the popover
  bool appIsSigned = false;           // the report did not say "object is not signed"
  bool appHasValidSignature = false;  // the verification printed nothing
  bool appIsSignedByApple = false;    // the leaf authority is the platform vendor's
  bool operator==(const SignatureFacts&) const = default;
};

// The signature panel of the popover.
struct SignaturePanel {
  bool signSpinnerAnimating = false;
  bool signSpinnerHidden = true;
  std::string signtext;  // shown text; left as it was when the file is missing
  std::string message;   // "File not found" for a missing file
  bool operator==(const SignaturePanel&) const = default;
};

// The alert's view of the asking process.
struct AlertSignature {
  std::string processSignatureValidity;  // "missing signature", "valid signature", "invalid signature"
  std::string processSignatureAuthor;    // "signed by " + authority
  bool ledNoSignature = false;
  bool ledInvalidSignature = false;
  bool ledAppleSignature = false;
  bool operator==(const AlertSignature&) const = default;
};

// Reading the reports.
bool reportsNotSigned(std::string_view verification);
// The first line of the description that begins with "Authority=", whole.
std::optional<std::string> firstAuthorityLine(std::string_view description);
// The text between the first and the second "=" of the line, each "Developer ID Application: "
// removed.
std::string authorityName(std::string_view authorityLine);
// The two leaf authorities of the platform vendor's own programs.
bool isPlatformAuthority(std::string_view authorityLine);

class SignatureInspector {
 public:
  // `vendorName` is the platform vendor as the texts name it ("... is signed by <vendor>").
  SignatureInspector(CodeSignatures& signatures, const FileSystem& files, MainLoop& loop, ConcurrentQueue& background,
                     std::string vendorName = "Debian");

  using FactsDelivery = std::function<void(const SignatureFacts&)>;
  // Starts the inspection of an app and returns at once with the facts that hold meanwhile; each
  // later change arrives through `deliver` on the main loop, built on the facts before it.
  // `current` is what the app holds now (its info sentence stays when nothing is inspected).
  SignatureFacts getSignatureInfo(const std::string& appPath, bool isBinaryEntry, bool verifySignatures,
                                  const SignatureFacts& current, FactsDelivery deliver);

  // Fills the panel: returns the state at once (spinner running, or the missing-file message) and
  // delivers the finished panel on the main loop.
  SignaturePanel showSignatureInfo(const std::string& appPath, const SignaturePanel& current,
                                   std::function<void(const SignaturePanel&)> deliver);

  // The alert's inspection of a process path: each step's state arrives on the main loop, and
  // `finished` (optional) runs there after the last one.
  void inspectForAlert(const std::string& processPath, std::function<void(const AlertSignature&)> deliver,
                       std::function<void()> finished = {});

  const std::string& vendorName() const { return vendorName_; }

 private:
  CodeSignatures& signatures_;
  const FileSystem& files_;
  MainLoop& loop_;
  ConcurrentQueue& background_;
  std::string vendorName_;
};

}  // namespace halvex
