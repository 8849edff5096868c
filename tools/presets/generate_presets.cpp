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

#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "configuration/Globals.h"
#include "platform/linux/LinuxFileSystem.h"
#include "platform/linux/LinuxProcessControl.h"
#include "configuration/HXConfiguration.h"
#include "rules/HXExclusion.h"
#include "runtime/AgentLoop.h"
#include "runtime/Paths.h"
#include "configuration/UserDefaults.h"

using namespace halvex;

namespace {

// No daemon hears the generator.
class NoCenter final : public DistributedNotificationCenter {
 public:
  void postNotificationName(const std::string&, const std::string&, const std::optional<plist::Dictionary>&) override {}
  Token addObserver(const std::string&, const std::string&, Handler) override { return 0; }
  void removeObserver(Token) override {}
};

class NoDialogs final : public Dialogs {
 public:
  AlertResponse runModal(const AlertDescription&) override { return {}; }
  void beginSheet(const std::string&, const AlertDescription&, Completion) override {}
};

// The exporter also stores the label colours among the user's defaults: not here.
class DefaultsInMemory final : public FileSystem {
 public:
  bool fileExists(const std::string& path) const override { return files_.count(path) > 0; }
  bool isDirectory(const std::string&) const override { return false; }
  bool isExecutable(const std::string&) const override { return false; }
  std::optional<std::string> readFile(const std::string& path) const override {
    auto it = files_.find(path);
    return it == files_.end() ? std::nullopt : std::optional<std::string>(it->second);
  }
  bool writeFileAtomically(const std::string& path, const std::string& bytes) override {
    files_[path] = bytes;
    return true;
  }
  bool removeFile(const std::string& path) override { return files_.erase(path) > 0; }

 private:
  std::map<std::string, std::string> files_;
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

  AgentLoop loop;
  LinuxFileSystem files;
  DefaultsInMemory defaultsFiles;
  LinuxProcessControl processControl;
  NoCenter center;
  NoDialogs dialogs;
  LineLogger logger("halvex-generate-presets", 0);
  const Paths paths(PathEnvironment{});
  UserDefaults defaults(defaultsFiles, "defaults.plist");

  for (const auto& preset : presets) {
    // A fresh world per preset: every other setting at its value before anything is loaded.
    Globals globals(loop);
    RulesContext context;
    HXConfiguration configuration(
        HXConfiguration::Links{globals, paths, files, center, dialogs, processControl, logger, context, defaults});
    globals.enableNotifications = preset.enableNotifications;
    for (const auto& [path, rule] : preset.folders)
      globals.globalExclusionsArray.push_back(std::make_shared<HXExclusion>(context, path, rule, false, false));
    const std::string file = outDir + "/" + preset.name + ".plist";
    configuration.exportConf(file, true, false, false);
    if (!files.fileExists(file)) {
      std::fprintf(stderr, "halvex-generate-presets: cannot write %s\n", file.c_str());
      return 1;
    }
    std::printf("wrote %s\n", file.c_str());
  }
  return 0;
}
