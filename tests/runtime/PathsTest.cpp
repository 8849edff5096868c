#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <regex>
#include <string>

#include "fakes/World.h"
#include "runtime/LineLogger.h"
#include "runtime/Paths.h"

using namespace halvex;

namespace {

Paths pathsFor(std::map<std::string, std::string> vars) {
  return Paths(PathEnvironment::fromLookup(
      [vars](const char* name) -> std::optional<std::string> {
        auto it = vars.find(name);
        return it == vars.end() ? std::nullopt : std::optional<std::string>(it->second);
      },
      "/opt/res"));
}

}  // namespace

TEST(Paths, TheRootReRootsEverySystemPathAndOnlyThose) {
  EXPECT_EQ(pathsFor({}).agentLogFile(), "/var/log/halvex.log") << "without a home the log still has a place";
  const Paths rooted = pathsFor({{"HALVEX_ROOT", "/tmp/r/"}, {"HOME", "/home/u"}});
  EXPECT_EQ(rooted.agentSocket(), "/tmp/r/var/run/halvex/agent/.it.dovik.halvex.agents");
  EXPECT_EQ(rooted.daemonSocket(), "/tmp/r/var/run/halvex/.it.dovik.halvex.agentc");
  EXPECT_EQ(rooted.confPath(), "/tmp/r/etc/halvex.conf");
  EXPECT_EQ(rooted.agentLogFile(), "/home/u/.local/state/halvex/halvex.log");
  EXPECT_EQ(rooted.defaultsFile(), "/home/u/.config/halvex/defaults.plist");
  EXPECT_EQ(rooted.resource("preset0", "plist"), "/opt/res/preset0.plist");

  const Paths real =
      pathsFor({{"HALVEX_ROOT", "/"}, {"HOME", "/home/u"}, {"XDG_STATE_HOME", "/s"}, {"XDG_CONFIG_HOME", "/c"}});
  EXPECT_EQ(real.confPath(), "/etc/halvex.conf");
  EXPECT_EQ(real.agentLogFile(), "/s/halvex/halvex.log");
  EXPECT_EQ(real.defaultsFile(), "/c/halvex/defaults.plist");
}

TEST(LineLogger, PrefixesLogLinesAndLeavesPrintedTextAlone) {
  std::FILE* log = std::tmpfile();
  std::FILE* out = std::tmpfile();
  LineLogger logger("halvex", 4242, log, out);
  logger.log("[HALVEX AGENT] started");
  logger.logf("%d apps", 3);
  logger.print("errore,");
  logger.printf("%d", 105);

  const std::string logged = test::World::contents(log);
  const std::regex line(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} halvex\[4242\] (.*)\n)");
  std::vector<std::string> bodies;
  for (std::sregex_iterator it(logged.begin(), logged.end(), line), end; it != end; ++it) bodies.push_back((*it)[1]);
  EXPECT_EQ(bodies, (std::vector<std::string>{"[HALVEX AGENT] started", "3 apps"})) << logged;
  EXPECT_EQ(test::World::contents(out), "errore,105");
  std::fclose(log);
  std::fclose(out);
}
