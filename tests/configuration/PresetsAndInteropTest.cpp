#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "configuration/ConfigurationWorld.h"

namespace halvex {
namespace {

using test::ConfigurationWorld;

std::string readDisk(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
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
  std::string out;
  if (FILE* p = ::popen(("python3 " + (dir / "p.py").string() + " " + dir.string() + " 2>&1").c_str(), "r")) {
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, p)) > 0;) out.append(buffer, n);
    ::pclose(p);
  }
  EXPECT_EQ(out,
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
