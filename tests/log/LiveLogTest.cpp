#include <gtest/gtest.h>

#include <thread>

#include "log/DaemonLogFilterStatus.h"
#include "log/LogWorld.h"

namespace halvex {
namespace {

using namespace std::chrono_literals;
using test::LogWorld;
using Texts = std::vector<std::string>;

Texts addresses(const LogWorld& w) {
  Texts out;
  for (const auto& row : w.log.view.rows) out.push_back(row.columnAddress);
  return out;
}

void setTTL(LogWorld& w, double seconds) {
  w.preferences.view.logTimeoutSlider.value = seconds;
  w.preferences.changeLogsTimeout();
}

TEST(LiveLog, RowsDieAtTheirTimeToLiveOnTheNextTickAndANewLimitWaitsForTheTick) {
  LogWorld w;
  w.log.awakeFromNib();
  w.feed("0 10.0.0.1 443 100 x y");
  w.loop.advance(1ns);
  w.feed("0 10.0.0.2 443 100 x y");
  w.loop.advance(25s - 1ns);
  EXPECT_EQ(addresses(w), (Texts{"10.0.0.1", "10.0.0.2"}));
  w.loop.advance(5s);
  EXPECT_EQ(addresses(w), Texts{"10.0.0.2"}) << "exactly 30 s old goes; 1 ns younger stays";
  w.loop.advance(5s);
  EXPECT_TRUE(addresses(w).empty());

  w.feed("0 10.0.0.3 443 100 x y");
  w.loop.advance(12s);
  setTTL(w, 10);
  EXPECT_EQ(addresses(w), Texts{"10.0.0.3"}) << "a lower limit waits for the tick";
  w.loop.advance(3s);
  EXPECT_TRUE(addresses(w).empty());

  w.feed("0 10.0.0.4 443 100 x y");
  setTTL(w, 60);
  w.loop.advance(55s);
  EXPECT_EQ(addresses(w), Texts{"10.0.0.4"}) << "a higher limit keeps rows longer and restores none";
  w.loop.advance(5s);
  EXPECT_TRUE(addresses(w).empty());
}

TEST(LiveLog, RecordsShowTheirProcessItsUserAndTheirLateFactsOnTheMainLoop) {
  LogWorld w;
  w.icons.set("/opt/Owner.app", "owner-icon");
  w.hostNames.set("10.0.0.1", {"one.example", "alias.example"});
  w.log.switchLogAutoscroll(false);
  w.feed("0 10.0.0.1 443 100 x y");
  w.log.switchLogAutoscroll(true);
  w.feed("0 10.0.0.2 53 200 x y /usr/bin/wget");
  w.feed("0 10.0.0.3 123 300 x y");
  w.feed("0 10.0.0.4 8080 400 x y");
  EXPECT_EQ(w.log.view.scrollToRow, 3u) << "the newest row, with autoscroll on";
  EXPECT_EQ(w.log.view.selectionIndex, std::nullopt) << "arrivals select nothing";
  ASSERT_TRUE(w.until([&] { return w.log.view.rows[0].columnAddress == "one.example"; }));
  ASSERT_TRUE(w.until([&] { return w.log.view.rows[3].columnImage.name == "owner-icon"; }))
      << "a service shows its app's bundle icon";
  ASSERT_TRUE(w.until([&] { return !w.log.view.rows[0].columnImage.empty(); }));

  const auto& records = w.log.allConnsLibrary;
  const auto& curl = *records[0];
  EXPECT_EQ(w.log.view.rows[0], (ConnectionRow{Image::named("text-x-generic"), "curl", "one.example", 443, "501", 100,
                                               "2016-11-15 08:53:20", Color::textColor(), false}));
  EXPECT_EQ(curl.connRepresentedPID, "100");
  EXPECT_EQ(curl.connRepresentedPORT, "443");
  EXPECT_FALSE(curl.connBelongsToOtherUser || curl.connIsRoot);
  EXPECT_EQ(w.log.view.rows[1].color, Color::redColor());
  EXPECT_TRUE(records[1]->connBelongsToOtherUser);
  EXPECT_FALSE(records[1]->connIsRoot);
  EXPECT_TRUE(records[2]->connIsRoot && records[2]->connBelongsToOtherUser) << "root, seen by an ordinary user";
  const auto& service = *records[3];
  EXPECT_EQ(service.connSimpleName, "Owner") << "a service shows under its app";
  EXPECT_EQ(service.connRepresentedXPC, "Fetch");
  EXPECT_EQ(service.xpcPath, test::kOwnerPath);
  EXPECT_EQ(w.log.view.rows[2].columnAddress, "10.0.0.3") << "no reverse name: the address stays";

  const auto base = HXConnection::initWithConnString("192.0.2.7", 3);
  EXPECT_EQ(base->connIPAddress, "192.0.2.7");
  EXPECT_EQ(base->connCount, 3);
  EXPECT_TRUE(base->connProcessName.empty() && base->connImage.empty() && base->connColor.isEmpty());
  EXPECT_EQ(HXConnection::iconPath("//opt//X.app/Contents/MacOS/X"), "/opt/X.app");
}

TEST(LiveLog, TheContextMenuOffersWhatTheSelectedRowAllowsAndTurnsRowsIntoRules) {
  LogWorld w;
  w.hostNames.set("10.0.0.1", {"one.example"});
  w.feed("0 10.0.0.1 443 100 x y");
  w.feed("0 10.0.0.2 53 200 x y /usr/bin/wget");
  w.feed("0 10.0.0.4 8080 400 x y /ignored");
  ASSERT_TRUE(w.until([&] { return w.log.view.rows[0].columnAddress == "one.example"; }));
  auto& v = w.log.view;
  const auto open = [&](std::optional<std::size_t> row) {
    if (row) w.select(*row);
    else w.log.allConsLibraryController.clearSelection();
    w.log.menuWillOpen(ConnectionMenu::contextualMenu);
  };

  open(std::nullopt);
  for (const MenuItem* item : {&v.item1, &v.reveal1, &v.blockAppItem, &v.passIPItem, &v.copyIPItem, &v.copyHostItem})
    EXPECT_FALSE(item->enabled);

  open(0);
  EXPECT_EQ(v.item1.title, "Put 10.0.0.1 in Dovik Black List");
  EXPECT_EQ(v.item2.title, "Copy 10.0.0.1 to a new or existing Dovik group");
  EXPECT_EQ(v.reveal1.title, "Reveal curl in Finder");
  EXPECT_TRUE(v.reveal2.hidden);
  EXPECT_EQ((Texts{v.blockAppItem.title, v.blockPortItem.title, v.blockIPItem.title}),
            (Texts{"Block all curl connections", "Block all curl connections to port 443",
                   "Block all curl connections to 10.0.0.1"}));
  EXPECT_FALSE(v.blockAppItem.hidden || v.blockPortItem.hidden || v.blockIPItem.hidden);
  EXPECT_TRUE(v.passAppItem.hidden && v.passPortItem.hidden && v.passIPItem.hidden);
  EXPECT_TRUE(v.item1.enabled && v.copyHostItem.enabled) << "a known name can be copied";

  open(1);
  EXPECT_EQ((Texts{v.passAppItem.title, v.passPortItem.title, v.passIPItem.title}),
            (Texts{"Pass all wget connections", "Pass all wget connections to port 53",
                   "Pass all wget connections to 10.0.0.2"}));
  EXPECT_FALSE(v.passAppItem.hidden || v.passPortItem.hidden || v.passIPItem.hidden);
  EXPECT_TRUE(v.blockAppItem.hidden && v.blockPortItem.hidden && v.blockIPItem.hidden);
  EXPECT_FALSE(v.copyHostItem.enabled) << "no name: nothing beyond the address";
  w.log.setAppRuleFromLogs(LogRuleItem::passAppItem);

  open(2);
  EXPECT_EQ(v.reveal1.title, "Reveal Fetch in Finder");
  EXPECT_EQ(v.reveal2.title, "Reveal Owner in Finder");
  EXPECT_FALSE(v.reveal1.hidden || v.reveal2.hidden);
  EXPECT_FALSE(v.passAppItem.hidden) << "a live blocked process";
  w.log.setAppRuleFromLogs(LogRuleItem::passPortItem);
  w.log.revealInFinder();
  w.log.revealInFinderResponsibleApp();
  w.log.copyIP();
  w.select(0);
  w.log.copyHostname();
  w.globals.globalBackground.stop();

  Texts rules;
  for (const auto& app : w.controller.appsLibrary)
    rules.push_back(app->appPath + " " + std::to_string(app->appIsBlockedOrAllowed.load()));
  EXPECT_EQ(rules, (Texts{"/usr/bin/wget 0", "/opt/Owner.app 3"})) << "a service's rule goes to its app";
  auto events = w.front.desktop.events();
  std::ranges::sort(events);
  EXPECT_EQ(events, (Texts{"copy 10.0.0.4", "copy one.example", std::string("reveal ") + test::kOwnerPath,
                           std::string("reveal ") + test::kServicePath}));
}

TEST(LiveLog, TheSwitchPostsToTheDaemonFollowsTheFlagAndAClosedWindowUnloadsRegardless) {
  LogWorld w;
  w.globals.loggaSuFile = true;
  w.preferences.updatePreferencesGUI();
  w.log.awakeFromNib();
  const auto& prefs = w.preferences.view;
  EXPECT_FALSE(prefs.logTimeoutSlider.enabled || prefs.logToFile.enabled || prefs.updateRotationBtn.enabled);
  w.log.toggleLogsFromMenu();
  EXPECT_TRUE(w.globals.activateLogging);
  EXPECT_TRUE(prefs.logTimeoutSlider.enabled && prefs.logToFile.enabled && prefs.logApps.state);
  EXPECT_EQ(w.controller.appsGrid.toolbarLeds.loggingLabel.text, "LOGGING ENABLED");
  w.log.menuWillOpen(ConnectionMenu::mainActionMenu);
  EXPECT_EQ(w.log.view.toggleLogMenuItem.title, "Disable Logging");

  w.log.clickToggleLoggingOnAndOff(false);
  EXPECT_FALSE(w.globals.activateLogging);
  EXPECT_FALSE(prefs.logToFile.state || prefs.logToFile.enabled) << "the box takes the sender's state";
  EXPECT_TRUE(w.globals.loggaSuFile) << "the saved flag stays";
  EXPECT_EQ(w.controller.appsGrid.toolbarLeds.titleLogs.text, "Recent Apps Connections (Disabled)");
  w.log.menuWillOpen(ConnectionMenu::mainActionMenu);
  EXPECT_EQ(w.log.view.toggleLogMenuItem.title, "Enable Logging");

  w.log.toggleLogsFromMenu();
  w.feed("0 10.0.0.1 443 100 x y");
  w.log.windowWillClose();
  EXPECT_TRUE(w.globals.activateLogging);
  EXPECT_TRUE(w.log.view.rows.empty());
  EXPECT_EQ(w.printed(), "closed connections window\n");

  // From another thread (an import's refresh) the switch is applied on the main loop.
  std::thread([&] { w.log.loggingControl(); }).join();
  EXPECT_EQ(w.center.postedNames(), (Texts{"unloadKext", "loadKext", "unloadKext", "loadKext", "unloadKext"}));
  w.loop.runPending();
  const auto posted = w.center.posted();
  ASSERT_EQ(posted.size(), 6u);
  EXPECT_EQ(posted.back().name, "loadKext");
  for (const auto& n : posted) {
    EXPECT_EQ(n.object, "it.dovik.halvexconnkext");
    EXPECT_EQ(n.userInfo, std::optional(plist::Dictionary{{"kextPath", plist::Value("")}}));
  }

  w.runner.answerWith(test::exited(1));
  EXPECT_FALSE(w.log.connKextIsRunning());
  w.runner.answerWith(test::exited(0, "4242\n"));
  EXPECT_TRUE(w.log.connKextIsRunning());
  EXPECT_EQ(w.runner.requests().back().arguments, (Texts{"-c", DaemonLogFilterStatus::kCommand}));
}

TEST(LiveLog, HostNamesFollowTheirSwitchOnlyWhileLoggingIsOnAndTheDetailPopoverAsksWhatItLacks) {
  LogWorld w;
  w.hostNames.set("10.0.0.1", {"one.example"});
  w.feed("0 10.0.0.1 443 100 x y");
  w.feed("0 10.0.0.2 443 100 x y");
  ASSERT_TRUE(w.until([&] { return addresses(w)[0] == "one.example"; }));
  w.log.toggleHostnames(false);
  EXPECT_TRUE(w.log.hostNamesOn()) << "logging is off";
  EXPECT_EQ(addresses(w)[0], "one.example");

  w.globals.activateLogging = true;
  w.log.toggleHostnames(false);
  EXPECT_EQ(addresses(w), (Texts{"10.0.0.1", "10.0.0.2"})) << "at once";
  EXPECT_FALSE(w.log.view.hostnamesButton.state);

  w.runner.answerWith(test::exited(0, "uid=501(alice) gid=20(staff)\n"));
  w.select(0);
  w.log.doubleClickAllConnsTableView();
  const auto& popover = w.log.view.connInfoPopover;
  EXPECT_TRUE(popover.shown);
  EXPECT_EQ((Texts{popover.infopopoverAppName, popover.infopopoverIPAddress, popover.infopopoverPort,
                   popover.infopopoverPath, popover.infopopoverDate}),
            (Texts{"curl", "10.0.0.1", "443", "/usr/bin/curl", "2016-11-15 08:53:20"}));
  ASSERT_TRUE(
      w.until([&] { return popover.infopopoverHostname == "one.example" && !popover.infopopoverUsername.empty(); }));
  EXPECT_EQ(popover.infopopoverUsername, "uid=501(alice)");
  EXPECT_EQ(w.runner.requests().back().launchPath, "/usr/bin/id");
  EXPECT_EQ(w.runner.requests().back().arguments, Texts{"501"});
  w.select(1);
  w.log.doubleClickAllConnsTableView();
  ASSERT_TRUE(w.until([&] { return popover.infopopoverHostname == "not found"; }));

  w.log.toggleHostnames(true);
  ASSERT_TRUE(w.until([&] { return addresses(w)[0] == "one.example"; }));
  w.log.doubleClickAllConnsTableView();
  EXPECT_EQ(popover.infopopoverHostname, "10.0.0.2") << "with names on, the row's own host at once";
}

TEST(LiveLog, ThePerAppLogFindsAnAppsRowsThroughEitherPathIgnoringCaseAndAccents) {
  LogWorld w;
  w.processes.add(500, "/OPT/\xC3\x96WN\xC3\x89R.APP/Contents/MacOS/x", 501);  // "ÖWNÉR"
  w.processes.add(501, "/opt/Ow\xCC\x81ner.app/bin/y", 501);                   // "o" and a combining acute
  for (const char* line :
       {"0 10.0.0.1 443 100 x y", "0 10.0.0.4 8080 400 x y", "0 10.0.0.5 1 500 x y", "0 10.0.0.6 2 501 x y"})
    w.feed(line);
  EXPECT_EQ(w.log.view.appRows.size(), 4u) << "no app chosen yet: everything";

  const auto owner = w.controller.generateHXApplication(0, "/opt/Owner.app");
  w.controller.appsLibraryController.addObject(owner);
  w.log.openLogsPopover();
  EXPECT_TRUE(w.log.view.appLogsPopoverShown);
  EXPECT_EQ(w.log.appLogsPredicate, "/opt/Owner.app");
  Texts shown;
  for (const auto& row : w.log.view.appRows) shown.push_back(row.columnAddress);
  EXPECT_EQ(shown, (Texts{"10.0.0.4", "10.0.0.5", "10.0.0.6"})) << "the service through its app's path";

  // Rows that arrive later join each view as its filter says, and once their late facts have landed
  // they read as a redraw of the whole list would.
  w.feed("0 10.0.0.7 3 400 x y");
  w.feed("0 10.0.0.8 4 100 x y");
  const auto iconsLanded = [&] {
    const auto& r = w.log.view.rows;
    return !r[r.size() - 1].columnImage.name.empty() && !r[r.size() - 2].columnImage.name.empty();
  };
  ASSERT_TRUE(w.until(iconsLanded));
  w.loop.runPending();
  const auto rows = w.log.view.rows, appRows = w.log.view.appRows;
  EXPECT_EQ(appRows.size(), 4u) << "the service's new row, not curl's";
  w.log.bindToGlobalArray();
  EXPECT_EQ(w.log.view.rows, rows);
  EXPECT_EQ(w.log.view.appRows, appRows);

  w.controller.appsLibraryController.addObject(w.controller.generateHXApplication(0, "/usr/bin/curl"));
  w.controller.appsLibraryController.setSelectionIndex(99);
  w.log.getAppLogs();
  EXPECT_EQ(w.log.view.appRows.size(), 4u) << "no single app: the filter stays";

  w.log.appConnsLibraryController.setSelectionIndex(0);
  w.log.menuWillOpen(ConnectionMenu::appLogsMenu);
  EXPECT_TRUE(w.log.view.copyIPItem2.enabled);
  EXPECT_FALSE(w.log.view.copyHostItem2.enabled);
  w.log.appcopyIP();
  EXPECT_EQ(w.front.desktop.string(), "10.0.0.4");
}

TEST(LiveLog, TheCompanionGetsAnAddressOnlyWhenItRunsAndOtherwiseTheUserIsTold) {
  LogWorld w;
  w.feed("0 10.0.0.1 443 100 x y");
  w.select(0);
  w.log.blacklistInDovik();
  ASSERT_EQ(w.dialogs.shown().size(), 1u);
  EXPECT_EQ(w.dialogs.shown()[0].messageText, "Dovik is not running!");
  EXPECT_EQ(w.dialogs.shown()[0].informativeText,
            std::string("This Halvex feature requires Dovik to be installed and running. Please run Dovik and retry. "
                        "More information about Dovik at ") +
                kDovikWebAddress);
  EXPECT_TRUE(w.center.posted().empty());

  w.running.alsoRunning({"Dovik"});
  w.log.copyInDovikGroup();
  const auto posted = w.center.posted("HaddToGroup");
  ASSERT_EQ(posted.size(), 1u);
  EXPECT_EQ(posted[0].object, "it.dovik");
  EXPECT_EQ(posted[0].userInfo,
            std::optional(plist::Dictionary{{"addresses", plist::Value(plist::Array{plist::Value("10.0.0.1")})}}));
  EXPECT_EQ(w.dialogs.shown().size(), 1u);
}

// The event reader's signal is heard only from the agent's own bus connection.
TEST(LiveLog, OnlyTheAgentsOwnConnectionEventsReachTheLog) {
  LogWorld w;
  const auto event = [](const std::string& line) {
    return DistributedNotification{"halvexconnections", "it.dovik.halvexconnections",
                                   plist::Dictionary{{"connections", plist::Value(line)}}, ""};
  };
  // A flood of foreign lines is logged once a second at most, with the count so far.
  for (int i = 0; i < 100; ++i) w.center.deliverFrom(":1.99", event("0 10.0.0.8 443 100 x y"));
  w.loop.runPending();
  w.loop.advance(std::chrono::seconds(1));
  w.center.deliverFrom("", event("0 10.0.0.9 443 100 x y"));
  w.center.deliverFrom(test::FakeDistributedCenter::kOwnSender,
                       DistributedNotification{"halvexconnections", "it.dovik.halvexconnections", std::nullopt, ""});
  w.loop.runPending();
  const std::string log = w.logText();
  EXPECT_NE(
      log.find("halvexconnections from \":1.99\" dropped: only the agent's own events are read (1 dropped so far)"),
      std::string::npos)
      << log;
  EXPECT_EQ(log.find("(2 dropped so far)"), std::string::npos) << log;
  EXPECT_NE(log.find("halvexconnections from \"\" dropped: only the agent's own events are read (101 dropped so far)"),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("halvexconnections without a line dropped"), std::string::npos) << log;

  w.center.postNotificationName("halvexconnections", "it.dovik.halvexconnections",
                                plist::Dictionary{{"connections", plist::Value("1 10.0.0.7 443 100 x y")}});
  w.center.postNotificationName("halvexconnections", "it.dovik.halvexconnections",
                                plist::Dictionary{{"connections", plist::Value("0 10.0.0.1\n 443 100 x y\n")}});
  ASSERT_TRUE(w.until([&] { return !w.log.view.rows.empty(); }));
  w.globals.globalBackground.stop();
  w.loop.runPending();
  EXPECT_EQ(addresses(w), Texts{"10.0.0.1"});
}

}  // namespace
}  // namespace halvex
