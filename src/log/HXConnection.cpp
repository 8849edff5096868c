#include "log/HXConnection.h"

#include <vector>

namespace halvex {

std::shared_ptr<HXConnection> HXConnection::initWithConnString(const std::string& connString, std::int64_t connCount) {
  auto record = std::make_shared<HXConnection>();
  record->connString = connString;
  record->connIPAddress = connString;
  record->connCount = connCount;
  return record;
}

std::shared_ptr<HXConnection> HXConnection::initWithConnProcessName(
    const ConnectionContext& context, const std::string& connProcessName, const std::string& connIPAddress,
    std::int64_t connPort, std::int32_t connPID, const std::string& connUID, bool connBlocked,
    const std::string& connViaApp, const std::string& xpcPath, bool otherUser) {
  auto record = initWithConnString("", 0);
  record->connProcessName = connProcessName;
  record->connIPAddress = connIPAddress;
  record->connPort = connPort;
  record->connPID = connPID;
  record->connUID = connUID;
  record->connBelongsToOtherUser = otherUser;
  record->connRepresentedPID = std::to_string(connPID);
  record->connRepresentedPORT = std::to_string(connPort);
  record->connDate = context.wallClock.localDateText(context.wallClock.now());
  record->connRealDate = context.mainLoop.now();
  const auto slash = connProcessName.rfind('/');
  record->connSimpleName = slash == std::string::npos ? connProcessName : connProcessName.substr(slash + 1);
  record->connViaApp = connViaApp;
  record->xpcPath = xpcPath;
  // A helper service shows under its app's name, its own name kept beside it.
  if (!connViaApp.empty()) {
    record->connRepresentedXPC = record->connSimpleName;
    record->connSimpleName = connViaApp;
  }
  record->lookUpIcon(context);
  record->connHostname = connIPAddress;
  record->connIsBlocked = connBlocked;
  record->connColor = connBlocked ? Color::redColor() : Color::textColor();
  record->connIsRoot = connUID == "0";
  if (context.hostNamesOn()) record->lookUpHostname(context);
  return record;
}

void HXConnection::updateRecord(const ConnectionContext& context) {
  if (context.hostNamesOn()) lookUpHostname(context);
  else connHostname = connIPAddress;
}

std::string HXConnection::iconPath(const std::string& path) {
  if (path.find(".app/Contents/") == std::string::npos) return path;
  // The components up to the first one that ends in ".app", joined again.
  std::string bundle;
  std::size_t start = 0;
  for (;;) {
    const auto slash = path.find('/', start);
    const std::string component = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
    bundle += component;
    if (component.size() >= 4 && component.compare(component.size() - 4, 4, ".app") == 0) break;
    if (slash == std::string::npos) break;
    bundle += "/";
    start = slash + 1;
  }
  for (auto at = bundle.find("//"); at != std::string::npos; at = bundle.find("//")) bundle.erase(at, 1);
  return bundle;
}

Image HXConnection::getIcon(const FileIcons& icons, const std::string& path) {
  return Image::named(icons.iconNameForFile(iconPath(path)));
}

void HXConnection::lookUpIcon(const ConnectionContext& context) {
  const std::string path = xpcPath.empty() ? connProcessName : xpcPath;
  context.background.async([self = shared_from_this(), &context, path] {
    Image image = getIcon(context.fileIcons, path);
    context.mainLoop.post([self, &context, image = std::move(image)] {
      self->connImage = image;
      context.recordChanged(*self);
    });
  });
}

void HXConnection::lookUpHostname(const ConnectionContext& context) {
  context.background.async([self = shared_from_this(), &context, address = connIPAddress] {
    const std::vector<std::string> names = context.hostNames.namesForAddress(address);
    if (names.empty()) return;
    context.mainLoop.post([self, &context, address, name = names.front()] {
      // A name that comes back after host names went off, or for an address the record no longer
      // holds, is dropped: the row shows the address then.
      if (!context.hostNamesOn() || self->connIPAddress != address) return;
      self->connHostname = name;
      context.recordChanged(*self);
    });
  });
}

}  // namespace halvex
