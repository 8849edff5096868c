// Writes the stock configurations of the strategies ("preset0" ... "preset7") into a folder, as
// encoded snapshots made by the agent's own exporter:
//
//   halvex-generate-presets OUTDIR
//
// preset0  every app passes and shows in the apps view; alerts off (first-run defaults)
// preset1  every app passes through the managed folder "/" and none shows; alerts off
// preset3  everything is blocked by the managed folder "/"; alerts off
// preset4  alerts on, nothing managed: every app asks
// preset5  alerts on, the system folders pass without asking
// preset7  alerts on, every other app passes through "/": only apps the user adds block or ask

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "agent/Composition.h"
#include "platform/linux/LinuxSystem.h"
#include "rules/HXExclusion.h"
#include "ui/console/ConsoleFrontEnd.h"

using namespace halvex;

namespace {

// No daemon hears the generator.
class NoCenter final : public DistributedNotificationCenter {
 public:
  void postNotificationName(const std::string&, const std::string&, const std::optional<plist::Dictionary>&) override {}
  Token addObserver(const std::string&, const std::string&, Handler) override { return 0; }
  void removeObserver(Token) override {}
  std::string ownSender() const override { return {}; }
};

struct Preset {
  const char* name;
  bool enableNotifications;
  std::vector<std::pair<std::string, std::int64_t>> folders;  // path, rule (0 pass, 1 block)
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: halvex-generate-presets OUTDIR\n", stderr);
    return 2;
  }
  const std::string outDir = argv[1];

  const std::vector<Preset> presets{
      {"preset0", false, {}},
      {"preset1", false, {{"/", 0}}},
      {"preset3", false, {{"/", 1}}},
      {"preset4", true, {}},
      {"preset5", true, {{"/System", 0}, {"/usr/sbin", 0}, {"/usr/libexec", 0}}},
      {"preset7", true, {{"/", 0}}},
  };

  // The exporter also stores the label colours among the user's defaults: in a scratch folder,
  // removed at the end, never the user's own.
  char scratchTemplate[] = "/tmp/halvex-presets-XXXXXX";
  const char* scratch = ::mkdtemp(scratchTemplate);
  if (!scratch) {
    std::perror("halvex-generate-presets: mkdtemp");
    return 1;
  }
  const Paths paths(PathEnvironment{
      .root = scratch, .home = scratch, .xdgConfigHome = scratch, .xdgStateHome = scratch, .resourcesDir = scratch});
  LineLogger logger("halvex-generate-presets", 0);
  NoCenter center;
  int status = 0;
  for (const auto& preset : presets) {
    // A fresh agent per preset: every other setting at its value before anything is loaded.
    LinuxProcessRunner runner;
    ConsoleFrontEnd frontEnd(logger, runner);
    LinuxSystem machine(frontEnd.mainLoop(), logger, scratch);
    Composition agent(Ports{paths,
                            logger,
                            machine.fileSystem,
                            machine.processInfo,
                            machine.processControl,
                            machine.processOwners,
                            machine.processRunner,
                            machine.sockets,
                            machine.streams,
                            machine.runningApplications,
                            center,
                            machine.fileIcons,
                            machine.hostNames,
                            machine.bundleInfo,
                            machine.codeSignatures,
                            machine.tcpProbe,
                            machine.directoryListing,
                            machine.systemUsers,
                            machine.wallClock,
                            std::cerr,
                            machine.codeSignatures.vendor(),
                            0},
                      frontEnd.bundle());
    auto& globals = agent.globals;
    const RulesContext& context = agent.rulesContext;
    auto& configuration = agent.configuration;
    globals.enableNotifications = preset.enableNotifications;
    for (const auto& [path, rule] : preset.folders)
      globals.globalExclusionsArray.push_back(std::make_shared<HXExclusion>(context, path, rule, false, false));
    const std::string file = outDir + "/" + preset.name + ".plist";
    configuration.exportConf(file, true, false, false);
    if (!machine.fileSystem.fileExists(file)) {
      std::fprintf(stderr, "halvex-generate-presets: cannot write %s\n", file.c_str());
      status = 1;
      break;
    }
    std::printf("wrote %s\n", file.c_str());
  }
  std::error_code ignored;
  std::filesystem::remove_all(scratch, ignored);
  return status;
}
