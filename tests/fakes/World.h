#pragma once
// One agent in memory, built through the program's own composition over fakes: files in memory,
// in-memory sockets and processes, a recording daemon carrier, scripted dialogs, a recording
// alert presenter, and the virtual-time loop, whose thread is the test's. Test worlds derive from
// it and add what their tests share.

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "agent/Composition.h"
#include "fakes/FakeDesktop.h"
#include "fakes/FakeDistributedCenter.h"
#include "fakes/FakeSockets.h"
#include "fakes/FakeSystem.h"
#include "fakes/MemoryFiles.h"
#include "rules/HXApplication.h"

namespace halvex::test {

inline constexpr const char* kAgentPath = "/r/var/run/halvex/agent/.it.dovik.halvex.agents";
inline constexpr const char* kDaemonPath = "/r/var/run/halvex/.it.dovik.halvex.agentc";

inline PathEnvironment testEnvironment(std::string resourcesDir = "/res") {
  return {.root = "/r",
          .home = "/home/u",
          .xdgConfigHome = "/home/u/.config",
          .xdgStateHome = "/home/u/.local/state",
          .resourcesDir = std::move(resourcesDir)};
}

struct World {
  explicit World(PathEnvironment environment = testEnvironment()) : paths(std::move(environment)) {}
  ~World() {
    std::fclose(logFile);
    std::fclose(printFile);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // What the agent printed (the debug lines), and what it logged.
  std::string printed() const { return contents(printFile); }
  std::string logText() const { return contents(logFile); }
  // The names of the apps in the decision side's mirror of the library, in order.
  std::vector<std::string> mirrorNames() const {
    std::vector<std::string> names;
    for (const auto& app : globals.globalAppsArray) names.push_back(app->appName);
    return names;
  }
  static std::string contents(std::FILE* file) {
    std::fflush(file);
    std::rewind(file);
    std::string text;
    for (int c; (c = std::fgetc(file)) != EOF;) text.push_back(static_cast<char>(c));
    return text;
  }

  FakeDesktop front;
  ManualLoop& loop = front.loop;
  ScriptedDialogs& dialogs = front.dialogs;
  RecordingAlerts& alerts = front.alerts;
  MemoryFiles files;
  FakeProcessInfo processes;
  ThrowingProcessControl control;
  FakeProcessOwners owners;
  FakeProcessRunner runner;
  FakeSockets sockets;
  FakeStandardStreams streams;
  FakeRunningApplications running;
  FakeDistributedCenter center{loop};
  FakeFileIcons icons;
  FakeHostNames hostNames;
  MapBundleInfo bundles;
  FakeCodeSignatures signatures;
  FakeTcpProbe probe;
  FakeSystemUsers users;
  FakeWallClock clock;
  std::FILE* logFile = std::tmpfile();
  std::FILE* printFile = std::tmpfile();
  LineLogger logger{"halvex", 1, logFile, printFile};
  std::ostringstream reports;
  Paths paths;

  Composition agent{
      Ports{paths, logger,    files,   processes,  control, owners, runner, sockets, streams, running,  center,
            icons, hostNames, bundles, signatures, probe,   files,  users,  clock,   reports, "Debian", 501},
      front.bundle()};

  Globals& globals = agent.globals;
  managesocketagent& channel = agent.channel;
  HXController& controller = agent.appsLibrary;
  HXConfiguration& configuration = agent.configuration;
  HXPreferencesController& preferences = agent.preferences;
  UserDefaults& defaults = agent.userDefaults;
  const RulesContext& context = agent.rulesContext;
};

}  // namespace halvex::test
