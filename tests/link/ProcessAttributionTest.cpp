#include <gtest/gtest.h>

#include <map>

#include "fakes/FakeSystem.h"
#include "link/ProcessAttribution.h"

using namespace halvex;

namespace {

std::string report(const std::string& domainLine) {
  return "com.example.helper = {\n\tactive count = 1\n\t" + domainLine + "\n\tstate = running\n}\n";
}

}  // namespace

TEST(ProcessAttribution, TheServiceReportNamesTheOwnerOnlyInItsOneForm) {
  const auto owner = XPCpid::parseOwner(77, report("domain = com.apple.xpc.launchd.domain.pid.Safari.812"));
  EXPECT_EQ(owner.pid, 812);
  EXPECT_EQ(owner.name, "Safari");
  for (const std::string& bad :
       {std::string(), report("domain = com.apple.xpc.launchd.domain.system"),
        report("domain = com.apple.xpc.launchd.domain.pid.Big.99999"),
        report("domain = com.apple.xpc.launchd.domain.pid.Big.0"),
        report("domain = com.apple.xpc.launchd.domain.pid.Big.12x"), std::string("no domain line at all")}) {
    const auto d = XPCpid::parseOwner(77, bad);
    EXPECT_EQ(std::make_pair(d.pid, d.name), std::make_pair(77, std::string("unknown"))) << bad;
  }
  EXPECT_EQ(XPCpid::parseOwner(5, "domain = user/501\ndomain = com.apple.xpc.launchd.domain.pid.X.9\n").name, "unknown")
      << "only the first domain line counts";
}

TEST(ProcessAttribution, TheViaNamesAResponsibleAppThatIsThere) {
  auto lookup = [](std::int32_t pid) {
    return std::string(pid == 400 ? "/Applications/Big.app/Contents/MacOS/Big" : "error");
  };
  const std::string service = "/Applications/Big.app/Contents/XPCServices/N.xpc/Contents/MacOS/N";
  EXPECT_EQ(viaStringFor(service, "400", lookup), " via Big");
  EXPECT_EQ(viaStringFor(service, "0", lookup), "");
  EXPECT_EQ(viaStringFor(service, "401", lookup), "") << "gone";
  EXPECT_EQ(viaStringFor("/usr/bin/curl", "400", lookup), "") << "not a service";
}

TEST(ProcessAttribution, EndingAProcessIsOfferedForTheConsoleUsersProcessesOnly) {
  test::FakeProcessOwners owners;
  owners.console = 501;
  EXPECT_TRUE(terminateProcessMenuItemVisible("501", owners));
  EXPECT_FALSE(terminateProcessMenuItemVisible("0", owners));
  owners.console.reset();
  EXPECT_TRUE(terminateProcessMenuItemVisible("0", owners)) << "nobody at the console: root's";
  EXPECT_FALSE(terminateProcessMenuItemVisible("-1", owners));
}

TEST(ProcessAttribution, ConnectionEventsUseTheDaemonsPathOnlyForGoneProcesses) {
  test::FakeProcessOwners owners;
  owners.reports[600] = report("domain = com.apple.xpc.launchd.domain.pid.Big.400");
  owners.reports[601] = report("domain = com.apple.xpc.launchd.domain.pid.user.400");
  XPCpid xpc(owners);
  const std::string service = "/A/Big.app/Contents/XPCServices/N.xpc/Contents/MacOS/N";
  const std::map<std::int32_t, std::string> paths{
      {600, service}, {601, service}, {400, "/A/Big.app"}, {300, "/usr/bin/curl"}};
  auto infoprocess = [&](std::int32_t pid) { return paths.contains(pid) ? paths.at(pid) : std::string("error"); };
  auto uid = [](std::int32_t pid) -> std::int32_t { return pid == 300 ? 0 : (pid == 999 ? -1 : 501); };
  auto attribute = [&](const std::string& pid) {
    const std::vector<std::string> parts{"0", "192.0.2.1", "443", pid, "x", "y", "/daemon/said", "with blank"};
    return attributeConnection(parts, 501, infoprocess, uid, xpc);
  };

  const auto gone = attribute("999");
  EXPECT_EQ(gone.path, "/daemon/said with blank");
  EXPECT_TRUE(gone.otherUser) << "uid -1 is nobody's";

  const auto root = attribute("300");
  EXPECT_EQ(root.path, "/usr/bin/curl");
  EXPECT_TRUE(root.otherUser);
  EXPECT_EQ(root.viaName, "");

  const auto helper = attribute("600");
  EXPECT_FALSE(helper.otherUser);
  EXPECT_EQ(helper.viaPath, "/A/Big.app");
  EXPECT_EQ(helper.viaName, "Big");

  EXPECT_EQ(attribute("601").viaName, "") << "an owner named user gives no via";
}
