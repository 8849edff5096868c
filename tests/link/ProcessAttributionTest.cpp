#include <gtest/gtest.h>

#include <map>

#include "link/ProcessAttribution.h"

using namespace halvex;

namespace {

struct Owners final : ProcessOwners {
  std::map<std::int32_t, std::string> reports;
  std::optional<std::int32_t> console;
  std::optional<std::string> userName(std::int32_t uid) const override {
    return uid == 501 ? std::optional<std::string>("alice") : std::nullopt;
  }
  std::optional<std::int32_t> consoleUser() const override { return console; }
  std::string serviceReport(std::int32_t pid) const override {
    auto it = reports.find(pid);
    return it == reports.end() ? std::string() : it->second;
  }
};

std::string report(const std::string& domainLine) {
  return "com.example.helper = {\n\tactive count = 1\n\t" + domainLine + "\n\tstate = running\n}\n";
}

}  // namespace

TEST(ProcessAttribution, TheServiceReportNamesTheOwnerOnlyInItsOneForm) {
  using P = XPCpid;
  auto owner = P::parseOwner(77, report("domain = com.apple.xpc.launchd.domain.pid.Safari.812"));
  EXPECT_EQ(owner.pid, 812);
  EXPECT_EQ(owner.name, "Safari");
  for (const std::string& bad : {std::string(), report("domain = com.apple.xpc.launchd.domain.system"),
                                 report("domain = com.apple.xpc.launchd.domain.pid.Big.99999"),
                                 report("domain = com.apple.xpc.launchd.domain.pid.Big.0"),
                                 report("domain = com.apple.xpc.launchd.domain.pid.Big.12x"),
                                 std::string("no domain line at all")}) {
    auto d = P::parseOwner(77, bad);
    EXPECT_EQ(d.pid, 77) << bad;
    EXPECT_EQ(d.name, "unknown") << bad;
  }
  // Only the first "domain = " line counts.
  auto first = P::parseOwner(5, "domain = user/501\ndomain = com.apple.xpc.launchd.domain.pid.X.9\n");
  EXPECT_EQ(first.name, "unknown");
}

TEST(ProcessAttribution, TheViaNamesAResponsibleAppThatIsThere) {
  auto lookup = [](std::int32_t pid) -> std::string {
    return pid == 400 ? "/Applications/Big.app/Contents/MacOS/Big" : "error";
  };
  const std::string service = "/Applications/Big.app/Contents/XPCServices/N.xpc/Contents/MacOS/N";
  EXPECT_EQ(viaStringFor(service, "400", lookup), " via Big");
  EXPECT_EQ(viaStringFor(service, "0", lookup), "");
  EXPECT_EQ(viaStringFor(service, "401", lookup), "") << "gone";
  EXPECT_EQ(viaStringFor("/usr/bin/curl", "400", lookup), "") << "not a service";
}

TEST(ProcessAttribution, EndingAProcessIsOfferedForTheConsoleUsersProcessesOnly) {
  Owners owners;
  owners.console = 501;
  EXPECT_TRUE(terminateProcessMenuItemVisible("501", owners));
  EXPECT_FALSE(terminateProcessMenuItemVisible("0", owners));
  owners.console.reset();
  EXPECT_TRUE(terminateProcessMenuItemVisible("0", owners)) << "nobody at the console: root's";
  EXPECT_FALSE(terminateProcessMenuItemVisible("-1", owners));
}

TEST(ProcessAttribution, ConnectionEventsUseTheDaemonsPathOnlyForGoneProcesses) {
  Owners owners;
  owners.reports[600] = report("domain = com.apple.xpc.launchd.domain.pid.Big.400");
  owners.reports[601] = report("domain = com.apple.xpc.launchd.domain.pid.user.400");
  XPCpid xpc(owners);
  const std::string service = "/A/Big.app/Contents/XPCServices/N.xpc/Contents/MacOS/N";
  auto infoprocess = [&](std::int32_t pid) -> std::string {
    if (pid == 600 || pid == 601) return service;
    if (pid == 400) return "/A/Big.app";
    if (pid == 300) return "/usr/bin/curl";
    return "error";
  };
  auto uid = [](std::int32_t pid) -> std::int32_t { return pid == 300 ? 0 : (pid == 999 ? -1 : 501); };
  auto parts = [](std::string pid) {
    return std::vector<std::string>{"0", "192.0.2.1", "443", pid, "x", "y", "/daemon/said", "with blank"};
  };

  auto gone = attributeConnection(parts("999"), 501, infoprocess, uid, xpc);
  EXPECT_EQ(gone.path, "/daemon/said with blank");
  EXPECT_TRUE(gone.otherUser) << "uid -1 is nobody's";

  auto root = attributeConnection(parts("300"), 501, infoprocess, uid, xpc);
  EXPECT_EQ(root.path, "/usr/bin/curl");
  EXPECT_TRUE(root.otherUser);
  EXPECT_EQ(root.viaName, "");

  auto helper = attributeConnection(parts("600"), 501, infoprocess, uid, xpc);
  EXPECT_FALSE(helper.otherUser);
  EXPECT_EQ(helper.viaPath, "/A/Big.app");
  EXPECT_EQ(helper.viaName, "Big");

  auto userDomain = attributeConnection(parts("601"), 501, infoprocess, uid, xpc);
  EXPECT_EQ(userDomain.viaName, "") << "an owner named user gives no via";
}
