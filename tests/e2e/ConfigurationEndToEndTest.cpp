#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <fstream>

#include "configuration/ConfigurationSnapshot.h"
#include "e2e/Harness.h"
#include "runtime/PlistIO.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

using plist::Array;
using plist::Dictionary;
using plist::Value;

std::size_t count(const std::string& text, const std::string& needle) {
  std::size_t n = 0;
  for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

// A first-run configuration of our own: an app, a folder and a global rule.
std::string customDefaults() {
  const Array records{
      Value(Dictionary{{"HalvexClassName", Value("HXPreferences")}, {"automaticXPC", Value(true)}}),
      Value(Dictionary{{"HalvexClassName", Value("HXExclusion")},
                       {"path", Value("/opt/jail")},
                       {"rule", Value(std::int64_t{1})},
                       {"ignored", Value(false)}}),
      Value(Dictionary{{"HalvexClassName", Value("HXManagedRecords")},
                       {"record", Value("10.0.0.0/8")},
                       {"type", Value(std::int64_t{1})},
                       {"rule", Value(std::int64_t{0})}}),
      Value(Dictionary{{"HalvexClassName", Value("HXApplication")},
                       {"appName", Value("curl")},
                       {"appPath", Value("/usr/bin/curl")},
                       {"appBinaries", Value(Array{Value("/usr/bin/curl")})},
                       {"appIsBundle", Value(false)},
                       {"appIsBlockedOrAllowed", Value(std::int64_t{4})},
                       {"appMatches", Value(Array{Value("@192.0.2.1"), Value("#443")})}}),
  };
  return plist::toXml(Value(Array{Value(encodedConfiguration(records, "test"))}));
}

TEST(ConfigurationEndToEnd, AQuitAndARestartBringTheSameRulesBackThroughTheDaemonsFileAndAMalformedOneEndsTheAgent) {
  TempRoot root;
  const std::string custom = root.path() + "/custom-resources";
  const std::string empty = root.path() + "/no-resources";
  std::filesystem::create_directories(custom);
  std::filesystem::create_directories(empty);
  std::ofstream(custom + "/preset0.plist") << customDefaults();
  const std::string compact = root.path() + "/compact.plist";
  const std::string conf = root.paths().confPath();

  Child daemon({HALVEX_STANDIN_BIN, "--root", root.path(), "--listen", "120", "--compact-out", compact}, {},
               root.path() + "/standin.out");
  ASSERT_TRUE(daemon.prints("ready")) << daemon.output();
  const auto heard = [&](std::size_t times) {
    return waitUntil([&] { return count(daemon.output(), "compact apps=1 exclusions=1 records=1") == times; });
  };

  // First run: no file, the first-run defaults come in and reach the daemon's memory.
  Agent first(root, {{"HALVEX_RESOURCES", custom}});
  ASSERT_TRUE(heard(1)) << daemon.output() << first.output();
  const std::string heardFirst = readFile(compact);
  EXPECT_FALSE(std::filesystem::exists(conf)) << "only the daemon writes the file, and only when told";

  // A plain quit hands the whole configuration to the daemon, which stores it.
  first.signal(SIGTERM);
  EXPECT_EQ(first.wait(), 0);
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(conf); })) << daemon.output();
  auto parsed = plist::parse(readFile(conf));
  ASSERT_TRUE(std::holds_alternative<Value>(parsed));
  const auto* file = std::get<Value>(parsed).asArray();
  ASSERT_TRUE(file && file->size() == 1u) << "an array whose single element is the user info";
  EXPECT_EQ(*(*file)[0].asDictionary()->find("HalvexClassName")->asString(), "HalvexConfiguration");

  // The restart has no first-run defaults at all: the rules can only come from the file.
  Agent second(root, {{"HALVEX_RESOURCES", empty}});
  ASSERT_TRUE(heard(2)) << daemon.output() << second.output();
  EXPECT_EQ(readFile(compact), heardFirst) << "the same compact list as before the quit";
  EXPECT_NE(heardFirst.find("@192.0.2.1"), std::string::npos);
  second.signal(SIGTERM);
  EXPECT_EQ(second.wait(), 0);
  daemon.signal(SIGTERM);
  daemon.wait();

  // A malformed file ends the agent with its reason in the log; the file is left as it was and no
  // rules go out.
  const std::string malformed = plist::toXml(Value(Array{Value("not a record")}));
  std::ofstream(conf) << malformed;
  NotificationRecorder recorder;
  Agent third(root);
  EXPECT_NE(third.wait(), 0);
  EXPECT_NE(root.readLog().find("is malformed"), std::string::npos) << root.readLog() << third.output();
  EXPECT_EQ(readFile(conf), malformed);
  EXPECT_EQ(recorder.count("newAppListReceived"), 0u);
}

}  // namespace
