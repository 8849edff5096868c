// The composition root of the agent: builds the adapters, the controllers and their links, in
// that order, then launches on the main loop.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "agent/AppDelegate.h"
#include "configuration/Globals.h"
#include "decision/DecisionContext.h"
#include "link/BridgeClassHalvex.h"
#include "decision/HXNotifyController.h"
#include "link/StartSocket.h"
#include "link/managesocketagent.h"
#include "management/DragSession.h"
#include "management/HXController.h"
#include "configuration/HXConfiguration.h"
#include "configuration/HXPreferencesController.h"
#include "rules/RuleLibraries.h"
#include "configuration/UserDefaults.h"
#include "platform/linux/DbusNotificationCenter.h"
#include "platform/linux/LinuxBundleInfo.h"
#include "platform/linux/LinuxFileIcons.h"
#include "platform/linux/LinuxHostNames.h"
#include "platform/linux/LinuxFileSystem.h"
#include "platform/linux/LinuxProcessControl.h"
#include "platform/linux/LinuxProcessInfo.h"
#include "platform/linux/LinuxRunningApplications.h"
#include "platform/linux/LinuxSignalWatcher.h"
#include "platform/linux/LinuxStandardStreams.h"
#include "platform/linux/LinuxUnixDatagramSockets.h"
#include "runtime/AgentLoop.h"
#include "runtime/Paths.h"
#include "rules/RulesContext.h"
#include "ui/console/ConsoleAlertPresenter.h"
#include "ui/console/ConsoleDialogs.h"

using namespace halvex;

namespace {

void usage(std::FILE* out) {
  std::fputs(
      "usage: halvex [--headless]\n"
      "  --headless   run with the console presenter (the default where there is no display)\n"
      "Environment: HALVEX_ROOT re-roots every system path; HOME and XDG_CONFIG_HOME /\n"
      "XDG_STATE_HOME place the per-user files; HALVEX_RESOURCES names the resources folder.\n"
      "Signals: SIGTERM or SIGINT quit and leave the filter running; SIGUSR1 quits and stops it.\n",
      out);
}

std::string findResources() {
  if (const char* env = std::getenv("HALVEX_RESOURCES"); env && *env) return env;
  std::error_code ec;
  if (std::filesystem::is_directory(HALVEX_DATADIR, ec)) return HALVEX_DATADIR;
  return HALVEX_SOURCE_RESOURCES;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
      usage(stdout);
      return 0;
    }
    if (!std::strcmp(argv[i], "--version")) {
      std::printf("halvex %s\n", HALVEX_VERSION);
      return 0;
    }
    if (std::strcmp(argv[i], "--headless") != 0) {
      std::fprintf(stderr, "halvex: unknown option %s\n", argv[i]);
      usage(stderr);
      return 2;
    }
  }

  AgentLoop loop;
  AppDelegate* delegate = nullptr;
  // First, before any thread exists, so that every thread inherits the blocked quit signals.
  LinuxSignalWatcher signals(
      loop, [&] { if (delegate) delegate->terminate(); },
      [&] { if (delegate) delegate->alternateQuitHalvexAgent(); });

  LinuxProcessControl processControl;
  LineLogger logger("halvex", static_cast<int>(::getpid()));
  const Paths paths(PathEnvironment::fromLookup(
      [](const char* name) -> std::optional<std::string> {
        const char* v = std::getenv(name);
        return v ? std::optional<std::string>(v) : std::nullopt;
      },
      findResources()));

  Globals globals(loop);
  LinuxFileSystem fileSystem;
  LinuxProcessInfo processInfo;
  LinuxUnixDatagramSockets sockets;
  LinuxStandardStreams streams;
  LinuxRunningApplications runningApplications("halvex", paths.environment().root);
  DbusNotificationCenter distributedCenter(loop, logger);
  ConsoleDialogs dialogs(loop, logger);
  ConsoleAlertPresenter alertPresenter(logger);
  LinuxFileIcons fileIcons;
  LinuxHostNames hostNames;
  LinuxBundleInfo bundleInfo;

  RulesContext rulesContext;
  rulesContext.mainLoop = &loop;
  rulesContext.notificationCenter = &globals.notificationCenter;
  rulesContext.fileSystem = &fileSystem;
  rulesContext.fileIcons = &fileIcons;
  rulesContext.hostNames = &hostNames;
  rulesContext.bundleInfo = &bundleInfo;
  rulesContext.enableNotifications = [&globals] { return globals.enableNotifications.load(); };
  rulesContext.labelColors = [&globals] { return globals.preferences.user().colors; };
  rulesContext.verifySignatures = [&globals] { return globals.preferences.user().verifySignatures; };

  // The library of apps, the configuration and the preferences. The folder and global-rule lists
  // are plain holders until their views' controllers take them over.
  UserDefaults userDefaults(fileSystem, paths.defaultsFile());
  DragSession dragSession;
  HXController appsLibrary(HXController::Links{globals, rulesContext, dialogs, userDefaults, dragSession});
  ExclusionsLibraryHolder exclusionsLibrary;
  RecordsLibraryHolder recordsLibrary;
  HXConfiguration configuration(HXConfiguration::Links{globals, paths, fileSystem, distributedCenter, dialogs,
                                                       processControl, logger, rulesContext, userDefaults});
  HXPreferencesController preferencesController(
      HXPreferencesController::Links{globals, paths, userDefaults, distributedCenter, dialogs});
  configuration.halvexcontroller = &appsLibrary;
  configuration.exclusioncontroller = &exclusionsLibrary;
  configuration.recordscontroller = &recordsLibrary;
  configuration.preferencescontroller = &preferencesController;
  preferencesController.halvexconfiguration = &configuration;
  preferencesController.halvexcontroller = &appsLibrary;

  HXNotifyController* intake = nullptr;
  BridgeClassHalvex bridge(globals.synchronizedNotification, [&](const std::string& line) { intake->addRequest(line); });
  auto channel = std::make_shared<managesocketagent>(sockets, processInfo, processControl, logger, bridge,
                                                     paths.agentSocket(), paths.daemonSocket());
  appsLibrary.halvexconfiguration = &configuration;
  appsLibrary.mymanagesocketagent = channel.get();
  DecisionContext decisionContext{globals, *channel, processControl, &rulesContext, &alertPresenter, &logger};
  HXNotifyController notifyController(decisionContext, static_cast<std::int32_t>(::getuid()));
  StartSocket startSocket(channel, globals.recvDaemonQueue);
  intake = &notifyController;

  AppDelegate appDelegate(AppDelegate::Links{globals, paths, logger, distributedCenter, streams, runningApplications,
                                             dialogs, fileSystem, [&] { startSocket.start(); },
                                             [&](int code) { loop.quit(code); }});
  appDelegate.myHXConfiguration = &configuration;
  delegate = &appDelegate;

  loop.post([&] { appDelegate.applicationDidFinishLaunching(); });
  const int code = loop.run();
  // The reader thread stays blocked in its receive for the life of the process: end here,
  // without unwinding the objects it uses.
  processControl.exitProcess(code);
}
