#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

#include "fakes/World.h"
#include "runtime/LineLogger.h"

using namespace halvex;

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
