#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <fstream>

#include "e2e/Harness.h"
#include "rules/ConfigurationSnapshot.h"
#include "runtime/PlistIO.h"
#include "standin/DaemonPeer.h"

using namespace halvex;
using namespace halvex::e2e;
using namespace std::chrono_literals;

namespace {

using plist::Array;
using plist::Dictionary;
using plist::Value;

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout = 10000ms) {
  const auto until = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < until) {
    if (condition()) return true;
    std::this_thread::sleep_for(20ms);
  }
  return condition();
}

std::size_t count(const std::string& text, const std::string& needle) {
  std::size_t n = 0;
  for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

// A first-run configuration of our own: two apps, a folder and a global rule.
std::string customDefaults() {
  const Array records{
      Value(Dictionary{{"HalvexClassName", Value("HXPreferences")}, {"automaticXPC", Value(true)}}),
      Value(Dictionary{{"HalvexClassName", Value("HXExclusion")}, {"path", Value("/opt/jail")},
                       {"rule", Value(std::int64_t{1})}, {"ignored", Value(false)}}),
      Value(Dictionary{{"HalvexClassName", Value("HXManagedRecords")}, {"record", Value("10.0.0.0/8")},
                       {"type", Value(std::int64_t{1})}, {"rule", Value(std::int64_t{0})}}),
      Value(Dictionary{{"HalvexClassName", Value("HXApplication")}, {"appName", Value("curl")},
                       {"appPath", Value("/usr/bin/curl")}, {"appBinaries", Value(Array{Value("/usr/bin/curl")})},
                       {"appIsBundle", Value(false)}, {"appIsBlockedOrAllowed", Value(std::int64_t{4})},
                       {"appMatches", Value(Array{Value("@192.0.2.1"), Value("#443")})}}),
      Value(Dictionary{{"HalvexClassName", Value("HXApplication")}, {"appName", Value("wget")},
                       {"appPath", Value("/usr/bin/wget")}, {"appBinaries", Value(Array{Value("/usr/bin/wget")})},
                       {"appIsBundle", Value(false)}, {"appIsBlockedOrAllowed", Value(std::int64_t{1})},
                       {"appMatches", Value(Array{})}}),
  };
  return plist::toXml(Value(Array{Value(encodedConfiguration(records, "test"))}));
}

class ConfigurationEndToEnd : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { bus_ = new PrivateBus(); }
  static void TearDownTestSuite() {
    delete bus_;
    bus_ = nullptr;
  }
  static PrivateBus* bus_;
};

PrivateBus* ConfigurationEndToEnd::bus_ = nullptr;

TEST_F(ConfigurationEndToEnd, AQuitAndARestartBringTheSameRulesBackThroughTheDaemonsFile) {
  TempRoot root;
  const std::string custom = root.path() + "/custom-resources";
  const std::string empty = root.path() + "/no-resources";
  std::filesystem::create_directories(custom);
  std::filesystem::create_directories(empty);
  std::ofstream(custom + "/preset0.plist") << customDefaults();
  const std::string compact = root.path() + "/compact.plist";
  const std::string conf = root.paths().confPath();

  const std::string daemonOut = root.path() + "/standin.out";
  Child daemon({HALVEX_STANDIN_BIN, "--root", root.path(), "--listen", "120", "--compact-out", compact}, {}, daemonOut);
  ASSERT_TRUE(waitUntil([&] { return readFile(daemonOut).find("ready") != std::string::npos; })) << readFile(daemonOut);

  auto startAgent = [&](const std::string& resources, const std::string& out) {
    return std::make_unique<Child>(std::vector<std::string>{HALVEX_AGENT_BIN, "--headless"},
                                   std::map<std::string, std::string>{{"HALVEX_ROOT", root.path()},
                                                                      {"HOME", root.home()},
                                                                      {"XDG_CONFIG_HOME", root.home() + "/.config"},
                                                                      {"XDG_STATE_HOME", root.home() + "/.local/state"},
                                                                      {"HALVEX_RESOURCES", resources}},
                                   out);
  };

  // First run: no file, the first-run defaults come in and reach the daemon's memory.
  auto first = startAgent(custom, root.path() + "/agent1.out");
  ASSERT_TRUE(waitUntil([&] { return count(readFile(daemonOut), "compact apps=2 exclusions=1 records=1") == 1; }))
      << readFile(daemonOut) << readFile(root.path() + "/agent1.out");
  const std::string heardFirst = readFile(compact);
  EXPECT_FALSE(std::filesystem::exists(conf)) << "only the daemon writes the file, and only when told";

  // A plain quit hands the whole configuration to the daemon, which stores it.
  first->signal(SIGTERM);
  EXPECT_EQ(first->wait(), 0);
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(conf); })) << readFile(daemonOut);
  auto parsed = plist::parse(readFile(conf));
  ASSERT_TRUE(std::holds_alternative<Value>(parsed));
  const auto* file = std::get<Value>(parsed).asArray();
  ASSERT_TRUE(file && file->size() == 1u) << "an array whose single element is the user info";
  EXPECT_EQ(*(*file)[0].asDictionary()->find("HalvexClassName")->asString(), "HalvexConfiguration");

  // The restart has no first-run defaults at all: the rules can only come from the file.
  auto second = startAgent(empty, root.path() + "/agent2.out");
  ASSERT_TRUE(waitUntil([&] { return count(readFile(daemonOut), "compact apps=2 exclusions=1 records=1") == 2; }))
      << readFile(daemonOut) << readFile(root.path() + "/agent2.out");
  EXPECT_EQ(readFile(compact), heardFirst) << "the same compact list as before the quit";
  EXPECT_NE(heardFirst.find("@192.0.2.1"), std::string::npos);
  second->signal(SIGTERM);
  EXPECT_EQ(second->wait(), 0);
  daemon.signal(SIGTERM);
  daemon.wait();
}

TEST_F(ConfigurationEndToEnd, AMalformedFileEndsTheAgentWithItsReasonInTheLog) {
  TempRoot root;
  const std::string conf = root.paths().confPath();
  std::filesystem::create_directories(std::filesystem::path(conf).parent_path());
  std::ofstream(conf) << plist::toXml(Value(Array{Value("not a record")}));
  NotificationRecorder recorder;
  Agent agent(root);
  const int status = agent.process().wait();
  EXPECT_NE(status, 0);
  EXPECT_NE(root.readLog().find("is malformed"), std::string::npos) << root.readLog() << agent.output();
  EXPECT_TRUE(plist::parse(readFile(conf)).index() == 0) << "the file is left as it was";
  for (const auto& name : recorder.names()) EXPECT_NE(name, "newAppListReceived");
}

}  // namespace
