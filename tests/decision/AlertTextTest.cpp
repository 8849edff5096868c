#include <gtest/gtest.h>

#include <future>

#include "commands/CommandRunner.h"
#include "decision/HXNotifyWindowController.h"
#include "intelligence/ServiceNames.h"
#include "link/ChannelWorld.h"
#include "platform/linux/LinuxProcessRunner.h"

using namespace halvex;
using namespace halvex::test;
using namespace std::chrono_literals;

namespace {

using Texts = std::vector<std::string>;

// The marked pieces of a sentence, in the order they were marked.
Texts marked(const AttributedString& sentence) {
  Texts pieces;
  for (const auto& run : sentence.runs) {
    EXPECT_EQ(run.attributes.foregroundColor, Color::labelColor());
    EXPECT_TRUE(run.attributes.boldSystemFont);
    EXPECT_LE(run.location + run.length, sentence.text.size());
    pieces.push_back(sentence.text.substr(run.location, run.length));
  }
  return pieces;
}

TEST(AlertSentence, TellsWhoConnectsWhereWithEachFieldMarkedAtItsFirstOccurrence) {
  struct Case {
    std::string proc, prot, addr, port, user, nation, text;
    Texts marks;
  };
  const Case cases[] = {
      {"Safari",
       "TCP",
       "1.2.3.4",
       "443",
       "someuser",
       "",
       "someuser using Safari is trying a TCP connection to  1.2.3.4 on port 443.",
       {"TCP", "1.2.3.4", "443", "someuser", "Safari"}},
      {"Safari",
       "TCP",
       "1.2.3.4",
       "443 (https)",
       "someuser",
       "Italy",
       "someuser using Safari is trying a TCP connection to Italy at 1.2.3.4 on port 443 (https).",
       {"TCP", "1.2.3.4", "443 (https)", "someuser", "Safari", "Italy"}},
      // An app named like the protocol: the protocol's search finds the app's place first.
      {"TCP",
       "TCP",
       "::1",
       "53 ",
       "u",
       "",
       "u using TCP is trying a TCP connection to  ::1 on port 53 .",
       {"TCP", "::1", "53 ", "u", "TCP"}},
      // Several bytes per character: places count bytes.
      {"Café",
       "UDP",
       "host.example",
       "5353",
       "zoë",
       "Côte d'Ivoire",
       "zoë using Café is trying a UDP connection to Côte d'Ivoire at host.example on port 5353.",
       {"UDP", "host.example", "5353", "zoë", "Café", "Côte d'Ivoire"}},
      // Empty fields mark nothing; markup and broken bytes are plain text.
      {"<b>x</b>",
       "",
       "&amp;",
       "",
       "\xff",
       "",
       "\xEF\xBF\xBD using <b>x</b> is trying a  connection to  &amp; on port .",
       {"&amp;", "\xEF\xBF\xBD", "<b>x</b>"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const auto sentence = HXNotifyWindowController::generateAttributedDescriptionWithProc(c.proc, c.prot, c.addr,
                                                                                          c.port, c.user, c.nation);
    EXPECT_EQ(sentence.text, c.text);
    EXPECT_EQ(marked(sentence), c.marks);
  }
  const auto first = HXNotifyWindowController::generateAttributedDescriptionWithProc("TCP", "TCP", "a", "1", "u", "");
  EXPECT_EQ(first.runs[0].location, first.runs[4].location) << "the app's mark falls on the protocol's place";
  const std::string host(4000, 'h');
  EXPECT_NE(
      HXNotifyWindowController::generateAttributedDescriptionWithProc("a", "TCP", host, "1", "u", "").text.find(host),
      std::string::npos);
}

TEST(ServiceNames, OnlyDigitsReachTheShellAndTheAnswerIsReadAsTheListsFirstColumn) {
  EXPECT_EQ(serviceNameScript("443"),
            "cat /etc/services |awk '{ gsub(/\\\\t/, \\\"  \\\"); print }' |grep ' 443/' |head -1");
  for (const char* port : {"", "44 3", "443;reboot", "$(id)", "443\n", "-1", "\xd9\xa3"})
    EXPECT_FALSE(serviceNameScript(port)) << port;
  const std::pair<const char*, const char*> answers[] = {{"https  443/tcp", "(https)"},
                                                         {"http    80/tcp  www  # WorldWideWeb", "(http)"},
                                                         {"", ""},
                                                         {"ERROR", ""},
                                                         {"#x  7/tcp", "(x)"},
                                                         {"echo\n7/tcp", "(echo)"}};
  for (const auto& [answer, text] : answers) EXPECT_EQ(serviceTextFromAnswer(answer), text) << answer;

  // The system's own list through the real quiet script runner.
  LinuxProcessRunner processes;
  const CommandRunner runner(processes);
  EXPECT_EQ(serviceText("443", runner), "(https)");
  EXPECT_EQ(serviceText("22", runner), "(ssh)");
  EXPECT_EQ(serviceText("1", runner), "(tcpmux)");
  EXPECT_EQ(serviceText("64999", runner), "") << "no such service";
}

// The alert's facts through the agent's own look-ups, over fakes.
class AlertFactsTest : public ::testing::Test {
 protected:
  AlertFactsTest() {
    world.globals.enableNotifications = true;
    world.processes.add(300, "/opt/Tool.app/Contents/MacOS/tool", 501);
    world.owners.names[501] = "ada";
    world.icons.set("/opt/Tool.app", "tool-icon");
    world.runner.answer([](const ProcessRequest& r) {
      const bool services = r.arguments.size() == 2 && r.arguments[1].find("/etc/services") != std::string::npos;
      return ProcessResult{
          .launched = true, .timedOut = false, .exitStatus = 0, .output = services ? "https  443/tcp\n" : ""};
    });
  }
  HXNotifyWindowController& open(const std::string& address) {
    world.intake("t " + address + " 443 300 TCP 4 0");
    world.loop.runPending();
    alert = world.agent.alertAnswers.find(std::to_string(world.globals.requestCounter));
    EXPECT_TRUE(alert);
    return *alert;
  }
  // Runs the main loop until the look-ups' changes have landed.
  bool settleUntil(const std::function<bool()>& done, int rounds = 500) {
    for (int i = 0; i < rounds && !done(); ++i) {
      std::this_thread::sleep_for(10ms);
      world.loop.runPending();
    }
    return done();
  }

  ChannelWorld world;
  std::shared_ptr<HXNotifyWindowController> alert;
};

TEST_F(AlertFactsTest, TheSentenceShowsAtOnceAndIsRebuiltAsEachFactArrives) {
  world.hostNames.set("192.0.2.1", {"www.example.org", "alias.example.org"});
  world.users.set({{"root", UserPicture{"/pics/root", 96, 96}}, {"ada", UserPicture{"/pics/ada", 64, 48}}});
  world.agent.alertFacts.awakeFromNib();
  std::string atOpening;
  world.alerts.onShow = [&](const Alert& shown) { atOpening = shown.controller.lock()->window.descriptionString.text; };
  auto& a = open("192.0.2.1");
  EXPECT_EQ(atOpening, "ada using Tool is trying a TCP connection to  192.0.2.1 on port 443.")
      << "the plain facts, before any look-up";
  ASSERT_TRUE(settleUntil([&] { return a.window.descriptionString.text.find("(https)") != std::string::npos; }));
  ASSERT_TRUE(settleUntil([&] {
    return !a.window.userPicture.empty() && !a.window.processImage.empty() && a.window.flagBackground.hidden;
  }));
  EXPECT_EQ(a.window.descriptionString.text,
            "ada using Tool is trying a TCP connection to  www.example.org on port 443 (https).");
  EXPECT_EQ(a.window.currentHostName, "www.example.org");
  EXPECT_FALSE(a.window.copyHostnameToClipboardItem.hidden);
  EXPECT_EQ(a.window.processImage.name, "tool-icon") << "a bundle's icon is the bundle's";
  EXPECT_EQ(a.window.userPicture, (Image{"/pics/ada", true, 64, 48}));
  EXPECT_EQ(a.window.userName.text, "ada");
  EXPECT_TRUE(a.window.flagBackground.hidden) << "no zone table: no location";
  EXPECT_EQ(a.window.attributedNation, "");
}

TEST_F(AlertFactsTest, MissingFactsLeaveTheFieldsAndPicturesFallBackToTheComputer) {
  world.runner.answerWith(ProcessResult{.launched = true, .timedOut = false, .exitStatus = 1, .output = "x"});
  world.users.set({{"ada", UserPicture{"/pics/ada", 0, 48}}});
  world.agent.alertFacts.awakeFromNib();
  world.files.addDirectory(world.paths.nationsDir());
  world.files.addFile(world.paths.nationsDir() + "/it-aggregated.zone", "203.0.113.0/24\n");
  world.agent.flagsController.awakeFromNib();
  auto& a = open("::ffff:198.51.100.7");
  ASSERT_TRUE(settleUntil([&] { return !a.window.attributedNation.empty() && !a.window.userPicture.empty(); }));
  ASSERT_TRUE(settleUntil([&] { return a.window.attributedPort == "443 "; })) << "a failed script: no service";
  EXPECT_EQ(a.window.attributedNation, "Unknown location");
  EXPECT_EQ(a.window.nationFlag, (Image{"terra", true, 0, 0}));
  EXPECT_FALSE(a.window.flagBackground.hidden);
  EXPECT_EQ(a.window.userPicture, Image::named("NSComputer")) << "a picture of no size";
  EXPECT_EQ(a.window.attributedAddress, "::ffff:198.51.100.7");
  EXPECT_TRUE(a.window.copyHostnameToClipboardItem.hidden);

  a.setImageForUserWithUID(-2);
  EXPECT_EQ(a.window.userPicture, Image::named("NSComputer"));

  // Who signed the program, when the person asks: exactly one lamp.
  EXPECT_TRUE(a.window.ledNoSignature.hidden && a.window.ledAppleSignature.hidden);
  a.clickGetSignatureInfo();
  ASSERT_TRUE(settleUntil([&] { return !a.window.ledNoSignature.hidden; }));
  EXPECT_EQ(a.window.processSignatureValidity.text, "missing signature");
  EXPECT_TRUE(a.window.ledAppleSignature.hidden && a.window.ledInvalidSignature.hidden);
}

TEST_F(AlertFactsTest, FactsMayArriveInAnyOrderOrAfterTheCloseWhichTheyDoNotTouch) {
  // The services list answers only when the test says so.
  std::promise<void> release;
  const auto gate = release.get_future().share();
  world.runner.answer([gate](const ProcessRequest&) {
    gate.wait();
    return ProcessResult{.launched = true, .timedOut = false, .exitStatus = 0, .output = "https  443/tcp\n"};
  });
  world.files.addDirectory(world.paths.nationsDir());
  world.files.addFile(world.paths.nationsDir() + "/it-aggregated.zone", "192.0.2.0/24\n");
  world.agent.flagsController.awakeFromNib();

  auto& first = open("192.0.2.1");
  ASSERT_TRUE(settleUntil([&] { return !first.window.attributedNation.empty(); }));
  EXPECT_EQ(first.window.descriptionString.text,
            "ada using Tool is trying a TCP connection to Italy at 192.0.2.1 on port 443.")
      << "the location before the service";
  release.set_value();
  ASSERT_TRUE(settleUntil([&] { return first.window.attributedPort == "443 (https)"; }));
  EXPECT_EQ(first.window.descriptionString.text,
            "ada using Tool is trying a TCP connection to Italy at 192.0.2.1 on port 443 (https).");

  // A second alert is answered before its service is in.
  std::promise<void> releaseAgain;
  const auto gateAgain = releaseAgain.get_future().share();
  world.runner.answer([gateAgain](const ProcessRequest&) {
    gateAgain.wait();
    return ProcessResult{.launched = true, .timedOut = false, .exitStatus = 0, .output = "https  443/tcp\n"};
  });
  AlertAnswer pass;
  pass.pass = true;
  pass.scope = AlertScope::address;
  ASSERT_TRUE(world.agent.alertAnswers.answer(std::to_string(world.globals.requestCounter), pass).answered);
  auto& second = open("192.0.2.2");
  ASSERT_TRUE(world.agent.alertAnswers.answer(std::to_string(world.globals.requestCounter), pass).answered);
  releaseAgain.set_value();
  settleUntil([] { return false; }, 30);
  EXPECT_EQ(second.window.attributedPort, "443") << "the service came after the close";
  EXPECT_FALSE(second.window.shown);
}

}  // namespace
