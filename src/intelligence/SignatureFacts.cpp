#include "intelligence/SignatureFacts.h"

namespace halvex {
namespace {

constexpr std::string_view kNotSigned = "object is not signed";
constexpr std::string_view kAuthority = "Authority=";
constexpr std::string_view kDeveloperId = "Developer ID Application: ";

std::string removeAll(std::string text, std::string_view what) {
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at)) text.erase(at, what.size());
  return text;
}

}  // namespace

bool reportsNotSigned(std::string_view verification) { return verification.find(kNotSigned) != std::string_view::npos; }

std::optional<std::string> firstAuthorityLine(std::string_view description) {
  std::size_t from = 0;
  while (from <= description.size()) {
    auto end = description.find('\n', from);
    if (end == std::string_view::npos) end = description.size();
    const auto line = description.substr(from, end - from);
    if (line.substr(0, kAuthority.size()) == kAuthority) return std::string(line);
    from = end + 1;
  }
  return std::nullopt;
}

std::string authorityName(std::string_view authorityLine) {
  const auto first = authorityLine.find('=');
  if (first == std::string_view::npos) return {};
  const auto second = authorityLine.find('=', first + 1);
  const auto value =
      authorityLine.substr(first + 1, second == std::string_view::npos ? std::string_view::npos : second - first - 1);
  return removeAll(std::string(value), kDeveloperId);
}

bool isPlatformAuthority(std::string_view authorityLine) {
  return authorityLine == "Authority=Software Signing" || authorityLine == "Authority=Apple Mac OS Application Signing";
}

SignatureInspector::SignatureInspector(CodeSignatures& signatures, const FileSystem& files, MainLoop& loop,
                                       ConcurrentQueue& background, std::string vendorName)
    : signatures_(signatures),
      files_(files),
      loop_(loop),
      background_(background),
      vendorName_(std::move(vendorName)) {}

SignatureFacts SignatureInspector::getSignatureInfo(const std::string& appPath, bool isBinaryEntry,
                                                    bool verifySignatures, const SignatureFacts& current,
                                                    FactsDelivery deliver) {
  SignatureFacts facts = current;
  facts.appIsSigned = true;
  facts.appHasValidSignature = true;
  facts.appIsSignedByApple = false;
  if (!verifySignatures || !files_.fileExists(appPath)) return facts;
  facts.appSignatureInfo.clear();
  const std::string label = isBinaryEntry ? "Binary" : "App";

  background_.async([this, appPath, label, facts, deliver = std::move(deliver)]() mutable {
    const std::string verification = signatures_.inspect(appPath, SignatureQuery::verify);
    if (reportsNotSigned(verification)) {
      facts.appIsSigned = false;
      facts.appSignatureInfo = label + " is not signed";
      loop_.post([deliver, facts] { deliver(facts); });
      return;
    }
    facts.appIsSigned = true;
    facts.appHasValidSignature = verification.empty();
    loop_.post([deliver, facts] { deliver(facts); });

    const auto line = firstAuthorityLine(signatures_.inspect(appPath, SignatureQuery::describeFull));
    if (!line) return;
    if (isPlatformAuthority(*line)) {
      facts.appSignatureInfo = label + " is signed by " + vendorName_;
      facts.appIsSignedByApple = true;
    } else {
      facts.appSignatureInfo = label + " is signed by " + authorityName(*line);
    }
    loop_.post([deliver, facts] { deliver(facts); });
  });
  return facts;
}

SignaturePanel SignatureInspector::showSignatureInfo(const std::string& appPath, const SignaturePanel& current,
                                                     std::function<void(const SignaturePanel&)> deliver) {
  SignaturePanel panel = current;
  panel.signSpinnerAnimating = true;
  panel.signSpinnerHidden = false;
  panel.message.clear();
  if (!files_.fileExists(appPath)) {
    panel.signSpinnerAnimating = false;
    panel.signSpinnerHidden = true;
    panel.message = "File not found";
    return panel;
  }
  background_.async([this, appPath, panel, deliver = std::move(deliver)]() mutable {
    const std::string validity =
        "Signature validity check:\n\n" + signatures_.inspect(appPath, SignatureQuery::verifyVerbose);
    const std::string details = signatures_.inspect(appPath, SignatureQuery::describe);
    panel.signSpinnerAnimating = false;
    panel.signSpinnerHidden = true;
    panel.signtext = validity + "\n\nSignature details:\n\n" + details;
    loop_.post([deliver, panel] { deliver(panel); });
  });
  return panel;
}

void SignatureInspector::inspectForAlert(const std::string& processPath,
                                         std::function<void(const AlertSignature&)> deliver,
                                         std::function<void()> finished) {
  background_.async([this, processPath, deliver = std::move(deliver), finished = std::move(finished)] {
    AlertSignature alert;
    const auto post = [&](bool last) {
      loop_.post([deliver, alert, finished, last] {
        deliver(alert);
        if (last && finished) finished();
      });
    };
    const std::string verification = signatures_.inspect(processPath, SignatureQuery::verify);
    if (reportsNotSigned(verification)) {
      alert.processSignatureValidity = "missing signature";
      alert.ledNoSignature = true;
      post(true);
      return;
    }
    if (verification.empty()) {
      alert.processSignatureValidity = "valid signature";
    } else {
      alert.processSignatureValidity = "invalid signature";
      alert.ledInvalidSignature = true;
    }
    post(false);

    const auto line = firstAuthorityLine(signatures_.inspect(processPath, SignatureQuery::describeFull));
    if (!line) {
      if (finished) loop_.post(finished);
      return;
    }
    if (isPlatformAuthority(*line)) {
      alert.processSignatureAuthor = "signed by " + vendorName_;
      alert.ledAppleSignature = true;
    } else {
      alert.processSignatureAuthor = "signed by " + authorityName(*line);
    }
    post(true);
  });
}

}  // namespace halvex
