#pragma once
// One agent's worth of configuration machinery in memory: globals on a manual loop, files in
// memory, a recording distributed centre, scripted dialogs, a throwing process control, the three
// library holders and both controllers, linked as the composition root links them.

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "fakes/FakeDistributedCenter.h"
#include "fakes/FakeProcesses.h"
#include "fakes/ManualLoop.h"
#include "fakes/MemoryFiles.h"
#include "fakes/ScriptedDialogs.h"
#include "platform/BundleInfo.h"
#include "rules/HXApplication.h"
#include "configuration/HXConfiguration.h"
#include "rules/HXExclusion.h"
#include "rules/HXManagedRecords.h"
#include "configuration/HXPreferencesController.h"
#include "runtime/LineLogger.h"
#include "runtime/PlistIO.h"

namespace halvex::test {

class MapBundleInfo final : public BundleInfo {
 public:
  std::map<std::string, std::string> names;
  std::optional<std::string> localizedDisplayName(const std::string& path) const override {
    auto it = names.find(path);
    return it == names.end() ? std::nullopt : std::optional<std::string>(it->second);
  }
};

struct ConfigurationWorld {
  explicit ConfigurationWorld(std::string resourcesDir = "/res")
      : paths(makeEnvironment(std::move(resourcesDir))),
        defaults(files, paths.defaultsFile()),
        configuration(HXConfiguration::Links{globals, paths, files, center, dialogs, processes, logger, context, defaults}),
        preferences(HXPreferencesController::Links{globals, paths, defaults, center, dialogs}) {
    context.mainLoop = &loop;
    context.notificationCenter = &globals.notificationCenter;
    context.fileSystem = &files;
    context.bundleInfo = &bundles;
    configuration.halvexcontroller = &apps;
    configuration.exclusioncontroller = &exclusions;
    configuration.recordscontroller = &records;
    configuration.preferencescontroller = &preferences;
    preferences.halvexconfiguration = &configuration;
    preferences.halvexcontroller = &apps;
  }

  static PathEnvironment makeEnvironment(std::string resourcesDir) {
    return {.root = "/root", .home = "/home/u", .xdgConfigHome = "/home/u/.config",
            .xdgStateHome = "/home/u/.local/state", .resourcesDir = std::move(resourcesDir)};
  }

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
  std::vector<DistributedNotification> posted(const std::string& name) const {
    std::vector<DistributedNotification> out;
    for (const auto& n : center.posted())
      if (n.name == name) out.push_back(n);
    return out;
  }
  std::vector<std::string> appNames() const {
    std::vector<std::string> names;
    for (const auto& a : globals.globalAppsArray) names.push_back(a->appName);
    return names;
  }
  plist::Value fileValue(const std::string& path) const {
    auto parsed = plist::parse(files.readFile(path).value_or(""));
    return std::holds_alternative<plist::Value>(parsed) ? std::get<plist::Value>(parsed) : plist::Value();
  }

  ~ConfigurationWorld() { std::fclose(logFile); }
  std::string logText() const {
    std::fflush(logFile);
    std::rewind(logFile);
    std::string text;
    for (int c; (c = std::fgetc(logFile)) != EOF;) text.push_back(static_cast<char>(c));
    return text;
  }

  ManualLoop loop;
  Globals globals{loop};
  MemoryFiles files;
  FakeDistributedCenter center{loop};
  ScriptedDialogs dialogs{loop};
  ThrowingProcessControl processes;
  std::FILE* logFile = std::tmpfile();
  LineLogger logger{"test", 0, logFile, logFile};
  MapBundleInfo bundles;
  RulesContext context;
  Paths paths;
  UserDefaults defaults;
  AppsLibraryHolder apps;
  ExclusionsLibraryHolder exclusions;
  RecordsLibraryHolder records;
  HXConfiguration configuration;
  HXPreferencesController preferences;
};

}  // namespace halvex::test
