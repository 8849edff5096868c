#include "runtime/Paths.h"

namespace halvex {
namespace {

std::string withoutTrailingSlash(std::string s) {
  while (s.size() > 1 && s.back() == '/') s.pop_back();
  return s;
}

}  // namespace

PathEnvironment PathEnvironment::fromLookup(const std::function<std::optional<std::string>(const char*)>& lookup,
                                            std::string resourcesDir) {
  auto get = [&](const char* name) {
    auto v = lookup(name);
    return v ? *v : std::string();
  };
  PathEnvironment env;
  env.root = withoutTrailingSlash(get("HALVEX_ROOT"));
  if (env.root == "/") env.root.clear();
  env.home = get("HOME");
  env.xdgConfigHome = get("XDG_CONFIG_HOME");
  if (env.xdgConfigHome.empty() && !env.home.empty()) env.xdgConfigHome = env.home + "/.config";
  env.xdgStateHome = get("XDG_STATE_HOME");
  if (env.xdgStateHome.empty() && !env.home.empty()) env.xdgStateHome = env.home + "/.local/state";
  env.resourcesDir = std::move(resourcesDir);
  return env;
}

Paths::Paths(PathEnvironment env) : env_(std::move(env)) {}

std::string Paths::system(std::string_view absolute) const { return env_.root + std::string(absolute); }

std::string Paths::agentLogFile() const {
  // With no home at all the log still has a place: the system's log directory.
  if (env_.xdgStateHome.empty()) return system("/var/log/halvex.log");
  return env_.xdgStateHome + "/halvex/halvex.log";
}

std::string Paths::defaultsFile() const {
  if (env_.xdgConfigHome.empty()) return system("/var/lib/halvex/defaults.plist");
  return env_.xdgConfigHome + "/halvex/defaults.plist";
}

std::string Paths::resource(std::string_view name, std::string_view type) const {
  std::string path = env_.resourcesDir + "/" + std::string(name);
  if (!type.empty()) path += "." + std::string(type);
  return path;
}

}  // namespace halvex
