#include "rules/GenerateHXApplication.h"

#include "platform/BundleInfo.h"
#include "platform/FileSystem.h"
#include "rules/AppPaths.h"
#include "rules/HXApplication.h"

namespace halvex {

std::shared_ptr<HXApplication> generateHXApplication(const RulesContext& context, std::int64_t rule,
                                                     const std::string& applicationPath) {
  std::shared_ptr<HXApplication> app;
  std::string localizedName;
  if (isInsideBundle(applicationPath)) {
    const std::string bundle = firstBundleComponent(applicationPath);
    const std::string bundlePath = appBundlePath(applicationPath);
    app = HXApplication::initWithAppName(context, bundle, {bundle + "/"}, true, false, bundlePath);
    localizedName = shortNameOfPath(applicationPath);
    if (context.fileSystem.fileExists(bundlePath)) {
      if (auto display = context.bundleInfo.localizedDisplayName(bundlePath)) localizedName = *display;
    }
  } else {
    // A plain binary is named by its whole last component, ".app" or not.
    const auto slash = applicationPath.rfind('/');
    const std::string name = slash == std::string::npos ? applicationPath : applicationPath.substr(slash + 1);
    app = HXApplication::initWithAppName(context, name, {applicationPath}, false, false, applicationPath);
    localizedName = name;
  }
  app->appLocalizedName = AttributedString::plain(localizedName);
  app->appLocalizedNameCentered = AttributedString::aligned(localizedName, TextAlignment::center);
  app->appIsPersistent = true;
  app->setRule(rule);
  return app;
}

}  // namespace halvex
