#pragma once
// The table of every location the agent uses. System paths are re-rooted under HALVEX_ROOT so that
// the agent, its tests and the stand-in daemon can run as an ordinary user inside a temporary
// directory; per-user files follow the XDG variables. ARCHITECTURE.md lists the table.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace halvex {

struct PathEnvironment {
  std::string root;           // HALVEX_ROOT, empty for the real system
  std::string home;           // HOME
  std::string xdgConfigHome;  // XDG_CONFIG_HOME, or HOME/.config
  std::string xdgStateHome;   // XDG_STATE_HOME, or HOME/.local/state
  std::string resourcesDir;   // the bundle's resources (presets, images, country data)

  // Reads the variables through `lookup` (getenv in the program, a map in tests).
  static PathEnvironment fromLookup(const std::function<std::optional<std::string>(const char*)>& lookup,
                                    std::string resourcesDir);
};

class Paths {
 public:
  explicit Paths(PathEnvironment env);

  const PathEnvironment& environment() const { return env_; }
  // A path of the installed system, under the root.
  std::string system(std::string_view absolute) const;

  std::string agentSocket() const { return system("/var/run/halvex/agent/.it.dovik.halvex.agents"); }
  std::string daemonSocket() const { return system("/var/run/halvex/.it.dovik.halvex.agentc"); }
  std::string kernelEventSocket() const { return system("/var/run/halvex/agent/.it.dovik.halvex.events"); }
  std::string confPath() const { return system("/etc/halvex.conf"); }
  std::string debugFlagFile() const { return system("/tmp/halvexdebug"); }
  std::string sharedDir() const { return system("/var/lib/halvex"); }
  std::string nationsDir() const { return system("/var/lib/halvex/nations/aggregated"); }
  std::string daemonBinary() const { return system("/usr/local/bin/halvexafd"); }
  std::string whoisProgram() const { return system("/usr/bin/whois"); }
  std::string daemonService() const { return system("/etc/systemd/system/halvexafd.service"); }
  std::string logRotationFile() const { return system("/etc/logrotate.d/halvex"); }
  std::string companionLibrary() const { return system("/var/lib/dovik/doviklibrary.plist"); }

  // Per-user files.
  std::string agentLogFile() const;
  std::string defaultsFile() const;

  // A bundle resource, e.g. resource("preset0", "plist").
  std::string resource(std::string_view name, std::string_view type) const;
  const std::string& resourcesDir() const { return env_.resourcesDir; }

 private:
  PathEnvironment env_;
};

}  // namespace halvex
