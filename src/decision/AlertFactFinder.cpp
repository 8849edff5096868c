#include "decision/AlertFactFinder.h"

#include "decision/HXNotifyWindowController.h"
#include "intelligence/ServiceNames.h"
#include "rules/AppPaths.h"

namespace halvex {
namespace {

std::string iconPathOf(const std::string& path) { return isInsideBundle(path) ? appBundlePath(path) : path; }

}  // namespace

void AlertFactFinder::awakeFromNib() {
  auto loaded = std::make_shared<const std::vector<SystemUser>>(links_.systemUsers.systemUsers());
  std::lock_guard lock(usersMutex_);
  users_ = std::move(loaded);
}

std::shared_ptr<const std::vector<SystemUser>> AlertFactFinder::users() const {
  std::lock_guard lock(usersMutex_);
  return users_;
}

void AlertFactFinder::processIcon(const std::string& path, const std::string& viaPath, const Deliver& deliver) {
  mostraQueue_.async([this, path, viaPath, deliver] {
    const Image icon = Image::named(links_.fileIcons.iconNameForFile(iconPathOf(path)));
    deliver([icon](AlertWindow& window) { window.processImage = icon; });
    if (viaPath.empty()) return;
    const Image via = Image::named(links_.fileIcons.iconNameForFile(iconPathOf(viaPath)));
    deliver([via](AlertWindow& window) { window.viaAppIcon = via; });
  });
}

void AlertFactFinder::hostAndService(const Request& request, const Deliver& deliver) {
  mostraQueue_.async([this, address = request.processIP, port = request.processPort, deliver] {
    // The host name first: it shows while the services list is read.
    const auto names = links_.hostNames.namesForAddress(address);
    const std::string host = names.empty() ? std::string() : names.front();
    deliver([host](AlertWindow& window) {
      window.copyHostnameToClipboardItem.hidden = host.empty();
      if (host.empty()) return;
      window.currentHostName = host;
      window.attributedAddress = host;
    });
    const std::string portText = port + " " + serviceText(port, links_.commandRunner);
    deliver([portText](AlertWindow& window) { window.attributedPort = portText; });
  });
}

void AlertFactFinder::country(const std::string& address, const Deliver& deliver) {
  links_.findFlag.async([this, address, deliver] {
    const auto location = links_.flags.locate(address);
    deliver([location](AlertWindow& window) {
      // No zone table: the alert shows no location at all.
      window.flagBackground.hidden = !location;
      if (!location) return;
      window.attributedNation = location->name;
      const Image flag = Image::named(location->image);
      window.nationFlag = location->clipRound ? HXNotifyWindowController::arrotonda(flag, 0, 0) : flag;
    });
  });
}

void AlertFactFinder::userPicture(std::int32_t uid, const Deliver& deliver) {
  mostraQueue_.async([this, uid, deliver] {
    const std::string name = links_.processOwners.userName(uid).value_or("");
    Image picture = Image::named("NSComputer");
    // Held for the walk: a load at start may replace the list meanwhile.
    const auto known = users();
    for (const SystemUser& user : *known) {
      if (user.posixName != name) continue;
      if (user.image && user.image->width > 0 && user.image->height > 0)
        picture =
            HXNotifyWindowController::arrotonda(Image::named(user.image->path), user.image->width, user.image->height);
      break;
    }
    deliver([picture, name](AlertWindow& window) {
      window.userPicture = picture;
      window.userName.text = name;
    });
  });
}

void AlertFactFinder::signature(const std::string& path, const Deliver& deliver) {
  links_.signatures.inspectForAlert(path, [deliver](const AlertSignature& found) {
    deliver([found](AlertWindow& window) {
      window.processSignatureValidity.text = found.processSignatureValidity;
      window.processSignatureAuthor.text = found.processSignatureAuthor;
      window.ledAppleSignature.hidden = !found.ledAppleSignature;
      window.ledNoSignature.hidden = !found.ledNoSignature;
      window.ledInvalidSignature.hidden = !found.ledInvalidSignature;
    });
  });
}

}  // namespace halvex
