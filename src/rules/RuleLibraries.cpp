#include "rules/RuleLibraries.h"

#include <string>
#include <vector>

#include "rules/HXApplication.h"

namespace halvex {

bool AppsLibraryHolder::isXPCService(const HXApplication& app) {
  return app.appPath.find(".xpc/Contents") != std::string::npos;
}

void AppsLibraryHolder::removeAllXPCServices() {
  std::erase_if(appsLibrary, [](const std::shared_ptr<HXApplication>& app) { return isXPCService(*app); });
}

}  // namespace halvex
