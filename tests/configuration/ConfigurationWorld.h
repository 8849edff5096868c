#pragma once
// One agent in memory (see World), with the helpers the configuration's tests share.

#include <memory>
#include <string>

#include "fakes/World.h"
#include "rules/HXApplication.h"
#include "rules/HXExclusion.h"
#include "rules/HXManagedRecords.h"
#include "runtime/PlistIO.h"

namespace halvex::test {

// The configuration's tests work on the holders as the import and export see them.
struct ConfigurationWorld : World {
  std::shared_ptr<HXApplication> addApp(const std::string& name, const std::string& path, std::int64_t state,
                                        std::vector<std::string> matches = {}, bool bundle = false) {
    auto app = HXApplication::initWithAppName(context, name, {name}, bundle, state == 1, path);
    app->setRule(state);
    app->appMatches = std::move(matches);
    apps.appsLibrary.push_back(app);
    globals.globalAppsArray.push_back(app);
    return app;
  }
  void addFolder(const std::string& path, std::int64_t rule, bool hardcoded = false) {
    auto e = std::make_shared<HXExclusion>(context, path, rule, false, hardcoded);
    exclusions.exlusionsLibrary.push_back(e);
    globals.globalExclusionsArray.push_back(e);
  }
  void addGlobalRule(const std::string& record, std::int64_t type, std::int64_t rule) {
    auto r = std::make_shared<HXManagedRecords>(record, type, rule);
    records.recordsLibrary.push_back(r);
    globals.globalRecordsArray.push_back(r);
  }
  plist::Value fileValue(const std::string& path) const {
    auto parsed = plist::parse(files.readFile(path).value_or(""));
    return std::holds_alternative<plist::Value>(parsed) ? std::get<plist::Value>(parsed) : plist::Value();
  }

  AppsLibraryHolder& apps = agent.appsLibrary;
  ExclusionsLibraryHolder& exclusions = agent.exclusionsLibrary;
  RecordsLibraryHolder& records = agent.recordsLibrary;
};

}  // namespace halvex::test
