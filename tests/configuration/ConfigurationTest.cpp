#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "configuration/ConfigurationWorld.h"

namespace halvex {
namespace {

using plist::Array;
using plist::Dictionary;
using plist::Value;
using test::ConfigurationWorld;

Value appRecord(const std::string& name, const std::string& path, bool bundle, std::int64_t state, Array matches = {}) {
  return Value(Dictionary{{"HalvexClassName", Value("HXApplication")},
                          {"appName", Value(name)},
                          {"appPath", Value(path)},
                          {"appBinaries", Value(Array{Value(name)})},
                          {"appIsBundle", Value(bundle)},
                          {"appIsBlockedOrAllowed", Value(state)},
                          {"appMatches", Value(std::move(matches))}});
}

Value record(const char* className, Dictionary fields) {
  fields.set("HalvexClassName", Value(className));
  return Value(std::move(fields));
}

std::string xmlOf(Array records) { return plist::toXml(Value(std::move(records))); }

std::string encodedFileOf(const Array& records) {
  return plist::toXml(Value(Array{Value(encodedConfiguration(records, "9.9"))}));
}

const Array& arrayAt(const Dictionary& d, const char* key) { return *d.find(key)->asArray(); }

class ConfigurationTest : public ::testing::Test {
 protected:
  ConfigurationWorld w;
};

TEST_F(ConfigurationTest, SendConfPostsTheWholeCompactListWithExactlyItsThreeKeys) {
  w.configuration.sendConf();
  auto sent = w.center.posted("newAppListReceived");
  ASSERT_EQ(sent.size(), 1u) << "an empty library still sends one message";
  EXPECT_EQ(sent[0].object, "it.dovik");
  EXPECT_EQ(sent[0].userInfo->keys(), (std::vector<std::string>{"AppList", "ExclusionList", "RecordList"}));
  EXPECT_TRUE(arrayAt(*sent[0].userInfo, "AppList").empty());

  auto timed = w.addApp("curl", "/usr/bin/curl", 4, {"@10.0.0.1"});
  timed->appHasTimer = true;
  w.addApp("gone", "/opt/gone", 1);
  w.addFolder("/usr/sbin", 0, true);
  w.addGlobalRule("10.0.0.0/8", 1, 1);
  w.configuration.sendConf();
  const auto lists = w.center.posted("newAppListReceived");
  const Dictionary& list = *lists.back().userInfo;
  const auto& apps = arrayAt(list, "AppList");
  ASSERT_EQ(apps.size(), 2u) << "timed apps and apps that no longer exist are sent";
  EXPECT_EQ(*apps[0].asDictionary(), (Dictionary{{"appBinaries", Value(Array{Value("curl")})},
                                                 {"appIsBlockedOrAllowed", Value(std::int64_t{4})},
                                                 {"appMatches", Value(Array{Value("@10.0.0.1")})}}));
  EXPECT_EQ(*arrayAt(list, "ExclusionList")[0].asDictionary(),
            (Dictionary{{"path", Value("/usr/sbin")}, {"rule", Value(std::int64_t{0})}}))
      << "built-in folders are sent";
  EXPECT_EQ(*arrayAt(list, "RecordList")[0].asDictionary(),
            (Dictionary{
                {"record", Value("10.0.0.0/8")}, {"rule", Value(std::int64_t{1})}, {"type", Value(std::int64_t{1})}}));
}

TEST_F(ConfigurationTest, ExportWritesThePlainOrTheEncodedFormOrHandsItToTheDaemon) {
  w.addFolder("/Applications/Jail", 1);
  w.addFolder("/usr/sbin", 0, true);
  w.addGlobalRule("443", 2, 0);
  w.addApp("Foo.app", "/Applications/Foo.app", 3, {"@1.2.3.4"}, true);
  w.addApp("timed", "/usr/bin/timed", 0)->appHasTimer = true;

  w.configuration.exportConf("/tmp/plain.plist", false, true, false);  // sendDaemon has no effect
  const Value plain = w.fileValue("/tmp/plain.plist");
  ASSERT_TRUE(plain.asArray());
  std::vector<std::string> classes;
  for (const auto& r : *plain.asArray()) classes.push_back(*r.asDictionary()->find("HalvexClassName")->asString());
  EXPECT_EQ(classes, (std::vector<std::string>{"HXPreferences", "HXExclusion", "HXManagedRecords", "HXApplication"}))
      << "preferences, folders, global rules, apps; no built-in folder, no timed app";
  EXPECT_TRUE(w.center.posted("writeHalvexConfiguration").empty());

  w.configuration.exportConf("/tmp/encoded.plist", true, false, false);
  const Value encoded = w.fileValue("/tmp/encoded.plist");
  ASSERT_TRUE(encoded.asArray());
  ASSERT_EQ(encoded.asArray()->size(), 1u);
  const Dictionary& wrapper = *(*encoded.asArray())[0].asDictionary();
  EXPECT_EQ(*wrapper.find("HalvexClassName")->asString(), "HalvexConfiguration");
  EXPECT_EQ(*wrapper.find("HalvexVersion")->asString(), w.globals.version);
  // That the archive holds the same records as the plain form, a foreign reader checks in InteropTest.

  w.configuration.exportConf("_", true, true, false);
  EXPECT_FALSE(w.files.fileExists("_"));
  const auto sent = w.center.posted("writeHalvexConfiguration");
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].object, "it.halvex.writeHalvexConfiguration");
  EXPECT_EQ(*sent[0].userInfo, wrapper);
  EXPECT_TRUE(w.defaults.colorForKey("color0")) << "an export stores the label colours in the database";

  // The form for the exit runs on the caller's thread, so a held queue does not stop it.
  w.globals.synchronizedNotification.suspend();
  w.configuration.exportConf("_", true, true, true);
  EXPECT_EQ(w.center.posted("writeHalvexConfiguration").size(), 2u);
  w.globals.synchronizedNotification.resume();
}

// The plain export writes apps straight into the XML writer's nodes and in slices; a key out of
// order or a record lost at a slice boundary must show as a difference from the whole-tree text.
TEST_F(ConfigurationTest, PlainAndEncodedFilesRestoreTheSameLibraryAndThePlainOneIsTheTextOfItsRecords) {
  w.addFolder("/Applications/Jail", 1);
  w.addFolder("/usr/sbin", 0, true);
  w.addGlobalRule("fe80::/10", 1, 0);
  w.addApp("Foo.app", "/Applications/Foo.app", 2, {"#8.8.8.8"}, true);
  for (int i = 0; i < 300; ++i) {
    auto app = w.addApp("app" + std::to_string(i) + (i % 3 ? "" : ".app"), "/opt/app" + std::to_string(i), i % 5,
                        {"@192.0.2." + std::to_string(i % 250), "#_range1:2"}, i % 3 == 0);
    if (i % 7 == 0) app->appHasTimer = true;
  }
  w.globals.enableNotifications = true;
  w.globals.preferences.updateConfiguration([](ConfigurationPreferences& p) { p.quietTime = 45; });
  w.configuration.exportConf("/p.plist", false, false, false);
  w.configuration.exportConf("/e.plist", true, false, false);
  const auto& g = w.globals;
  // The preferences record is taken from the file: only the apps take the new path.
  EXPECT_EQ(*w.files.readFile("/p.plist"),
            plist::toXml(Value(classRecords(*(*w.fileValue("/p.plist").asArray())[0].asDictionary(),
                                            g.globalExclusionsArray, g.globalRecordsArray, g.globalAppsArray))));

  std::vector<std::string> results;
  for (const char* path : {"/p.plist", "/e.plist"}) {
    ConfigurationWorld other;
    other.files.addFile(path, w.files.readFile(path));
    other.configuration.importConf(path, false);
    EXPECT_TRUE(other.globals.enableNotifications);
    EXPECT_EQ(other.globals.preferences.configuration().quietTime, 45);
    other.configuration.exportConf("/again.plist", false, false, false);
    results.push_back(*other.files.readFile("/again.plist"));
    EXPECT_EQ(other.apps.appsLibrary, other.globals.globalAppsArray) << "library and mirror hold the same objects";
    EXPECT_EQ(other.records.recordsLibrary, other.globals.globalRecordsArray);
  }
  EXPECT_EQ(results[0], results[1]);
  EXPECT_EQ(results[0], *w.files.readFile("/p.plist")) << "export, import, export is the identity";
}

TEST_F(ConfigurationTest, ImportReplacesTheLibraryRebuildingAppsAndEndsWithTheMessagesInOrder) {
  w.files.addDirectory("/Applications/Bar.app");
  w.bundles.set("/Applications/Bar.app", "Bar Deluxe");
  w.files.addFile(
      "/conf",
      xmlOf({appRecord("Foo.app", "/Applications/Foo.app/Contents/MacOS/Foo", true, 0, Array{Value("@1.1.1.1")}),
             appRecord("tool", "/Applications/Foo.app/Contents/MacOS/Foo", false, 1),
             appRecord("Bar.app", "/Applications/Bar.app", true, 4), appRecord("Odd", "//opt//odd//bin", true, 7),
             record("HXExclusion", {{"path", Value("/")}, {"rule", Value(std::int64_t{1})}, {"ignored", Value(true)}}),
             record("HXManagedRecords",
                    {{"record", Value("80")}, {"type", Value(std::int64_t{2})}, {"rule", Value(std::int64_t{0})}}),
             record("SomethingNew", {{"x", Value(1)}})}));
  w.addApp("old", "/old", 0);
  w.addFolder("/stale", 0);
  w.addGlobalRule("1.1.1.1", 0, 1);
  w.globals.enableNotifications = true;
  w.configuration.importConf("/conf", true);

  ASSERT_EQ(w.mirrorNames(), (std::vector<std::string>{"Foo.app", "tool", "Bar.app", "Odd"}));
  const auto& a = w.globals.globalAppsArray;
  EXPECT_EQ(a[0]->appPath, "/Applications/Foo.app") << "a bundle path inside the bundle is repaired";
  EXPECT_EQ(a[1]->appPath, "/Applications/Foo.app/Contents/MacOS/Foo") << "not a bundle: kept";
  EXPECT_EQ(a[3]->appPath, "/opt/odd/bin") << "no .app component: kept whole, cleaned of double slashes";
  EXPECT_EQ(a[0]->appMatches, std::vector<std::string>{"@1.1.1.1"}) << "entries under a pure state stay";
  EXPECT_EQ(a[0]->appLocalizedName.text, "Foo") << "a bundle that no longer exists shows its name less .app";
  EXPECT_EQ(a[2]->appLocalizedNameCentered.text, "Bar Deluxe") << "an existing bundle shows its display name";
  EXPECT_TRUE(a[2]->appIsYellow);
  EXPECT_TRUE(a[1]->appIsBlocked);
  EXPECT_EQ(a[3]->appIsBlockedOrAllowed, 7);
  EXPECT_EQ(w.apps.appsLibrary.size(), 4u) << "the earlier library is replaced, not merged";
  ASSERT_EQ(w.globals.globalExclusionsArray.size(), 1u);
  EXPECT_EQ(w.globals.globalExclusionsArray[0]->path, "/");
  EXPECT_TRUE(w.globals.globalExclusionsArray[0]->ignored);
  EXPECT_EQ(w.exclusions.exlusionsLibrary, w.globals.globalExclusionsArray);
  ASSERT_EQ(w.globals.globalRecordsArray.size(), 1u);
  EXPECT_EQ(w.globals.globalRecordsArray[0]->record, "80");
  EXPECT_FALSE(w.globals.enableNotifications) << "a file without preferences leaves alerts off";
  EXPECT_TRUE(w.dialogs.shown().empty()) << "no preferences record, no question";
  EXPECT_EQ(w.center.postedNames(), (std::vector<std::string>{"newAppListReceived", "rootPermissions", "xpcOption"}));
  EXPECT_FALSE(w.configuration.progr.hidden);
  w.loop.runPending();
  EXPECT_TRUE(w.configuration.progr.hidden) << "the progress indicator stops on the main loop";
}

TEST_F(ConfigurationTest, PreferencesFollowTheirAbsentRulesAndTheLocationOddity) {
  w.globals.preferences.updateConfiguration([](ConfigurationPreferences& p) {
    p.quietTime = 33;
    p.presetLocationID = "earlier";
    p.quietMaxTime = 90;
  });
  w.globals.isLocked = true;
  w.globals.loggaSuFile = true;
  w.files.addFile("/conf", xmlOf({record("HXPreferences", {{"automaticXPC", Value(true)},
                                                           {"quietMaxTime", Value(5.0)},
                                                           {"autoupdate", Value(true)},
                                                           {"presetDescription", Value("a description")},
                                                           {"presetLocationID", Value("LOCATION-UUID")},
                                                           {"notificationsTimeOut", Value(std::int64_t{30})}})}));
  w.configuration.importConf("/conf", true);
  const auto p = w.globals.preferences.configuration();
  EXPECT_FALSE(p.popSound) << "absent popSound turns the sound off";
  EXPECT_EQ(p.soundName, "Morse") << "absent soundName is Morse, unlike a fresh agent's Bottle";
  EXPECT_EQ(p.quietTime, 33) << "absent quietTime keeps the running value";
  EXPECT_EQ(p.quietMaxTime, 90) << "quietMaxTime is never read";
  EXPECT_FALSE(w.globals.preferences.user().autoUpdate) << "autoupdate is never read";
  EXPECT_EQ(p.notificationsTimeOut, 30);
  EXPECT_EQ(p.presetDescription, "LOCATION-UUID");
  EXPECT_EQ(p.presetLocationID, "earlier");
  EXPECT_FALSE(w.globals.isLocked);
  EXPECT_FALSE(w.globals.loggaSuFile);
  EXPECT_TRUE(p.passAppWhenNotificationExpires);
  EXPECT_TRUE(w.globals.automaticXPC);
}

TEST_F(ConfigurationTest, AnOldConfigurationAsksAboutAutomaticXpc) {
  const Array records{
      record("HXPreferences", {}),
      appRecord("helper.xpc", "/Applications/A.app/Contents/XPCServices/helper.xpc/Contents/MacOS/h", false, 0),
      appRecord("curl", "/usr/bin/curl", false, 0)};
  for (const int button : {1001, 1000}) {
    ConfigurationWorld world;
    world.files.addFile("/conf", encodedFileOf(records));
    world.dialogs.script({button, false});
    world.configuration.importConf("/conf", true);
    EXPECT_FALSE(world.globals.automaticXPC) << "the import itself sets it false";
    world.loop.runPending();
    ASSERT_EQ(world.dialogs.shown().size(), 1u);
    world.loop.runPending();
    world.globals.synchronizedNotification.sync([] {});
    const auto xpc = world.center.posted("xpcOption");
    // Which apps stay is the library's part (LibraryFromOutside); here, the setting and its message.
    EXPECT_EQ(world.globals.automaticXPC, button == 1000);
    ASSERT_EQ(xpc.size(), button == 1000 ? 2u : 1u);
    if (button == 1000) {
      EXPECT_EQ(xpc.back().userInfo, (Dictionary{{"automaticXPC", Value(true)}}));
    }
  }
}

TEST_F(ConfigurationTest, OnlyASingleWrapperIsUnpacked) {
  const Array inner{appRecord("curl", "/usr/bin/curl", false, 0)};
  const Value wrapper(encodedConfiguration(inner, "1"));
  w.files.addFile("/two", plist::toXml(Value(Array{wrapper, wrapper})));
  w.addApp("kept-until-import", "/x", 0);
  w.configuration.importConf("/two", true);
  EXPECT_TRUE(w.mirrorNames().empty()) << "two wrappers: their records are skipped and the library empties";

  w.files.addFile("/one", plist::toXml(Value(Array{wrapper})));
  w.configuration.importConf("/one", true);
  EXPECT_EQ(w.mirrorNames(), std::vector<std::string>{"curl"});
}

TEST_F(ConfigurationTest, AMissingFileChangesNothingALaunchFallsBackToTheFirstRunDefaultsAndPresetsImport) {
  w.addApp("curl", "/usr/bin/curl", 1);
  w.configuration.importConf("/nothing/here", true);
  EXPECT_EQ(w.mirrorNames(), std::vector<std::string>{"curl"});
  EXPECT_TRUE(w.center.posted().empty());

  w.files.addFile("/res/preset0.plist", xmlOf({appRecord("fromPreset", "/p", false, 0)}));
  w.configuration.loadConfiguration();
  EXPECT_EQ(w.mirrorNames(), std::vector<std::string>{"fromPreset"});
  w.files.addFile("/r/etc/halvex.conf", xmlOf({appRecord("fromConf", "/c", false, 0)}));
  w.configuration.loadConfiguration();
  EXPECT_EQ(w.mirrorNames(), std::vector<std::string>{"fromConf"});
  EXPECT_EQ(w.center.posted("newAppListReceived").size(), 2u) << "each load ends with sendConf";

  w.files.addFile("/shared/mine.plist", encodedFileOf({appRecord("mine", "/m", false, 1)}));
  w.globals.notificationCenter.post("loadCustomPreset", Dictionary{{"presetPath", Value("/shared/mine.plist")}});
  EXPECT_EQ(w.mirrorNames(), std::vector<std::string>{"mine"}) << "a custom preset is imported from its path";
}

TEST_F(ConfigurationTest, AMalformedFileEndsTheProcessBeforeAnythingChanges) {
  auto noPath = appRecord("curl", "/usr/bin/curl", false, 0);
  noPath.asDictionary()->erase("appPath");
  auto stateAsText = appRecord("curl", "/usr/bin/curl", false, 0);
  stateAsText.asDictionary()->set("appIsBlockedOrAllowed", Value("1"));
  const std::vector<std::pair<std::string, std::string>> bad{
      {xmlOf({noPath}), "appPath is missing"},
      {xmlOf({stateAsText}), "appIsBlockedOrAllowed is a string"},
      {xmlOf({Value(Dictionary{{"HalvexClassName", Value("HXExclusion")}, {"path", Value("/")}})}), "rule"},
      {xmlOf({Value(Dictionary{{"HalvexClassName", Value("HXPreferences")}, {"quietTime", Value("long")}})}),
       "quietTime"},
      {plist::toXml(Value(Dictionary{})), "not an array"},
      {xmlOf({Value("a string")}), "not a dictionary"},
      {"garbage", "not a property list"},
      {plist::toXml(Value(Array{Value(Dictionary{{"HalvexClassName", Value("HalvexConfiguration")},
                                                 {"HalvexConfiguration", Value(plist::Data{{1, 2, 3}})}})})),
       "archived configuration"},
  };
  w.addApp("precious", "/usr/bin/precious", 1);
  for (const auto& [bytes, why] : bad) {
    w.files.addFile("/bad", bytes);
    try {
      w.configuration.importConf("/bad", true);
      ADD_FAILURE() << "imported: " << why;
    } catch (const test::ProcessAborted& e) {
      EXPECT_NE(std::string(e.what()).find(why), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find("/bad"), std::string::npos);
    }
  }
  EXPECT_EQ(w.mirrorNames(), std::vector<std::string>{"precious"});
  EXPECT_TRUE(w.center.posted().empty()) << "nothing reached the daemon";
  EXPECT_NE(w.logText().find("is malformed"), std::string::npos) << "the reason is in the log";
}

// The stock configurations, and the files as a foreign reader and writer of property lists sees them.
std::string readDisk(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

using Folders = std::vector<std::pair<std::string, std::int64_t>>;

TEST(PresetsTest, EachStockConfigurationDoesWhatItsStrategyPromises) {
  const struct {
    const char* name;
    bool alerts;
    Folders folders;
  } presets[] = {
      {"preset0", false, {}},          // every app passes and is learnt into the view
      {"preset1", false, {{"/", 0}}},  // every app passes through "/" (the daemon's last resort), none is shown
      {"preset3", false, {{"/", 1}}},  // everything blocked, silently
      {"preset4", true, {}},           // every app asks
      {"preset5", true, {{"/System", 0}, {"/usr/sbin", 0}, {"/usr/libexec", 0}}},  // asks, system folders pass
      {"preset7", true, {{"/", 0}}},  // passes all, while the apps the user adds (checked first) block or ask
  };
  for (const auto& preset : presets) {
    SCOPED_TRACE(preset.name);
    ConfigurationWorld w;
    const std::string bytes = readDisk(std::string(HALVEX_SOURCE_RESOURCES) + "/" + preset.name + ".plist");
    ASSERT_FALSE(bytes.empty());
    w.files.addFile("/preset", bytes);
    w.globals.enableNotifications = !preset.alerts;  // the import must decide
    w.configuration.importConf("/preset", true);
    w.loop.runPending();
    EXPECT_TRUE(w.dialogs.shown().empty()) << "a current configuration: no question";
    EXPECT_TRUE(w.globals.automaticXPC);
    EXPECT_EQ(w.globals.enableNotifications, preset.alerts);
    Folders folders;
    for (const auto& e : w.globals.globalExclusionsArray) folders.emplace_back(e->path, e->rule);
    EXPECT_EQ(folders, preset.folders);
    EXPECT_TRUE(w.globals.globalAppsArray.empty());
    EXPECT_TRUE(w.globals.globalRecordsArray.empty());
  }
}

TEST(InteropTest, PlistlibReadsWhatTheAgentWritesAndTheAgentImportsWhatPlistlibWrites) {
  const auto dir = std::filesystem::temp_directory_path() / ("halvex-interop-" + std::to_string(std::rand()));
  std::filesystem::create_directories(dir);
  ConfigurationWorld w;
  w.addApp("Foo.app", "/Applications/Foo.app", 4, {"@10.0.0.1", "#443"}, true);
  w.addFolder("/opt/jail", 1);
  w.addGlobalRule("10.0.0.0/8", 1, 0);
  w.configuration.exportConf("/encoded", true, false, false);
  w.configuration.exportConf("/plain", false, false, false);
  std::ofstream(dir / "encoded.plist") << *w.files.readFile("/encoded");
  std::ofstream(dir / "plain.plist") << *w.files.readFile("/plain");
  std::ofstream(dir / "defaults.plist") << *w.files.readFile(w.paths.defaultsFile());

  // A Python program over plistlib, given the folder.
  std::ofstream(dir / "p.py") << R"(
import plistlib, sys
d = sys.argv[1]
enc = plistlib.load(open(d + '/encoded.plist', 'rb'))
arc = plistlib.loads(enc[0]['HalvexConfiguration'])
assert arc['$archiver'] == 'NSKeyedArchiver' and arc['$version'] == 100000
objs = arc['$objects']
def dec(u):
    o = objs[u.data]
    if isinstance(o, dict) and '$class' in o:
        cls = objs[o['$class'].data]['$classname']
        if cls == 'NSArray': return [dec(x) for x in o['NS.objects']]
        if cls == 'NSDictionary': return {dec(k): dec(v) for k, v in zip(o['NS.keys'], o['NS.objects'])}
    return o
records = dec(arc['$top']['root'])
plain = plistlib.load(open(d + '/plain.plist', 'rb'))
assert records == plain, 'archive and plain form differ'
print([r['HalvexClassName'] for r in plain])
app = plain[-1]
print(app['appName'], app['appIsBlockedOrAllowed'], app['appMatches'], app['appIsBundle'] is True)
print(type(plain[0]['quietTime']).__name__, type(plain[0]['notificationDefaultTime']).__name__)
color = plistlib.loads(plistlib.load(open(d + '/defaults.plist', 'rb'))['color1'])
print(color['$archiver'])
recs = [
  {'HalvexClassName': 'HXPreferences', 'automaticXPC': True, 'enableNotifications': True, 'quietTime': 12.0},
  {'HalvexClassName': 'HXExclusion', 'path': '/', 'rule': 1, 'ignored': False},
  {'HalvexClassName': 'HXApplication', 'appName': 'py', 'appPath': '/usr/bin/py', 'appBinaries': ['py'],
   'appIsBundle': False, 'appIsBlockedOrAllowed': 2, 'appMatches': ['#1.2.3.4']},
]
plistlib.dump(recs, open(d + '/py.xml', 'wb'), fmt=plistlib.FMT_XML)
plistlib.dump(recs, open(d + '/py.bin', 'wb'), fmt=plistlib.FMT_BINARY)
)";
  const std::string run = "python3 " + (dir / "p.py").string() + " " + dir.string() + " >" + (dir / "out").string();
  EXPECT_EQ(std::system((run + " 2>&1").c_str()), 0);
  EXPECT_EQ(readDisk((dir / "out").string()),
            "['HXPreferences', 'HXExclusion', 'HXManagedRecords', 'HXApplication']\n"
            "Foo.app 4 ['@10.0.0.1', '#443'] True\n"
            "float int\n"
            "NSKeyedArchiver\n");

  for (const char* name : {"py.xml", "py.bin"}) {
    ConfigurationWorld other;
    other.files.addFile("/py", readDisk((dir / name).string()));
    other.configuration.importConf("/py", false);
    ASSERT_EQ(other.mirrorNames(), std::vector<std::string>{"py"}) << name;
    EXPECT_EQ(other.globals.globalAppsArray[0]->appIsBlockedOrAllowed, 2);
    EXPECT_EQ(other.globals.globalAppsArray[0]->appMatches, std::vector<std::string>{"#1.2.3.4"});
    EXPECT_TRUE(other.globals.enableNotifications);
    EXPECT_EQ(other.globals.preferences.configuration().quietTime, 12.0);
    ASSERT_EQ(other.globals.globalExclusionsArray.size(), 1u);
    EXPECT_EQ(other.globals.globalExclusionsArray[0]->rule, 1);
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace halvex
