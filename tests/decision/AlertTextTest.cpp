// What the alert says: its sentence with the facts marked, the names of services, and the facts
// the opening looks up, which land in any order and never after the close.

#include <gtest/gtest.h>

#include <future>

#include "decision/AlertWorld.h"
#include "intelligence/ServiceNames.h"

using namespace halvex;
using namespace halvex::test;
using namespace std::chrono_literals;

namespace {

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

AttributedString sentence(const Texts& f) {
  return HXNotifyWindowController::generateAttributedDescriptionWithProc(f[0], f[1], f[2], f[3], f[4], f[5]);
}

TEST(AlertSentence, TellsWhoConnectsWhereWithEachFieldMarkedAtItsFirstOccurrence) {
  struct Case {
    Texts fields;  // the app, protocol, address, port, user and country
    std::string text;
    Texts marks;
  };
  const Case cases[] = {
      {{"Safari", "TCP", "1.2.3.4", "443", "someuser", ""},
       "someuser using Safari is trying a TCP connection to  1.2.3.4 on port 443.",
       {"TCP", "1.2.3.4", "443", "someuser", "Safari"}},
      {texts("Safari", "TCP", "1.2.3.4", "443 (https)", "someuser", "Italy"),
       "someuser using Safari is trying a TCP connection to Italy at 1.2.3.4 on port 443 (https).",
       texts("TCP", "1.2.3.4", "443 (https)", "someuser", "Safari", "Italy")},
      // An app named like the protocol: the protocol's search finds the app's place first.
      {{"TCP", "TCP", "::1", "53 ", "u", ""},
       "u using TCP is trying a TCP connection to  ::1 on port 53 .",
       {"TCP", "::1", "53 ", "u", "TCP"}},
      // Several bytes per character: places count bytes.
      {{"Café", "UDP", "host.example", "5353", "zoë", "Côte d'Ivoire"},
       "zoë using Café is trying a UDP connection to Côte d'Ivoire at host.example on port 5353.",
       {"UDP", "host.example", "5353", "zoë", "Café", "Côte d'Ivoire"}},
      // Empty fields mark nothing; markup and broken bytes are plain text.
      {{"<b>x</b>", "", "&amp;", "", "\xff", ""},
       "\xEF\xBF\xBD using <b>x</b> is trying a  connection to  &amp; on port .",
       {"&amp;", "\xEF\xBF\xBD", "<b>x</b>"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(sentence(c.fields).text, c.text);
    EXPECT_EQ(marked(sentence(c.fields)), c.marks);
  }
  const auto first = sentence({"TCP", "TCP", "a", "1", "u", ""});
  EXPECT_EQ(first.runs[0].location, first.runs[4].location) << "the app's mark falls on the protocol's place";
  const std::string host(4000, 'h');
  EXPECT_NE(sentence({"a", "TCP", host, "1", "u", ""}).text.find(host), std::string::npos);
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
}

// The alert's facts through the agent's own look-ups, over fakes: ada runs a bundle's tool, whose
// port the services list names (the only command an opening runs).
const ProcessResult kServices = exited(0, "https  443/tcp\n");

struct FactsWorld : AlertWorld {
  FactsWorld() {
    owners.names[501] = "ada";
    icons.set("/opt/Tool.app", "tool-icon");
    runner.answerWith(kServices);
  }
  // From now on the services list answers only once the promise is kept.
  std::promise<void> holdServices() {
    std::promise<void> release;
    runner.answer([gate = release.get_future().share()](const ProcessRequest&) {
      gate.wait();
      return kServices;
    });
    return release;
  }
  HXNotifyWindowController& open(const std::string& address) {
    return AlertWorld::open(address, "/opt/Tool.app/Contents/MacOS/tool");
  }
  // Runs the main loop until the look-ups' changes have landed.
  bool settleUntil(const std::function<bool()>& done, int rounds = 500) {
    for (int i = 0; i < rounds && !done(); ++i) {
      std::this_thread::sleep_for(10ms);
      loop.runPending();
    }
    return done();
  }
  void zones(const std::string& italy) {
    files.addDirectory(paths.nationsDir());
    files.addFile(paths.nationsDir() + "/it-aggregated.zone", italy + "\n");
    agent.flagsController.awakeFromNib();
  }
};

// The first alert's facts come as they are found, the host name before the service; the second's
// location comes before its service, which comes only after the alert has closed.
TEST(AlertFacts, TheSentenceShowsAtOnceAndIsRebuiltAsEachFactArrivesButNeverAfterTheClose) {
  FactsWorld w;
  w.hostNames.set("192.0.2.1", {"www.example.org", "alias.example.org"});
  w.users.set({{"root", UserPicture{"/pics/root", 96, 96}}, {"ada", UserPicture{"/pics/ada", 64, 48}}});
  w.agent.alertFacts.awakeFromNib();
  std::string atOpening;
  w.alerts.onShow = [&](const Alert& shown) { atOpening = shown.controller.lock()->window.descriptionString.text; };
  auto& first = w.open("192.0.2.1");
  EXPECT_EQ(atOpening, "ada using Tool is trying a TCP connection to  192.0.2.1 on port 443.")
      << "the plain facts, before any look-up";
  ASSERT_TRUE(w.settleUntil([&] { return first.window.descriptionString.text.find("(https)") != std::string::npos; }));
  ASSERT_TRUE(w.settleUntil([&] {
    return !first.window.userPicture.empty() && !first.window.processImage.empty() &&
           first.window.flagBackground.hidden;
  }));
  EXPECT_EQ(first.window.descriptionString.text,
            "ada using Tool is trying a TCP connection to  www.example.org on port 443 (https).");
  EXPECT_EQ(first.window.currentHostName, "www.example.org");
  EXPECT_FALSE(first.window.copyHostnameToClipboardItem.hidden);
  EXPECT_EQ(first.window.processImage.name, "tool-icon") << "a bundle's icon is the bundle's";
  EXPECT_EQ(first.window.userPicture, (Image{"/pics/ada", true, 64, 48}));
  EXPECT_EQ(first.window.userName.text, "ada");
  EXPECT_TRUE(first.window.flagBackground.hidden) << "no zone table: no location";
  EXPECT_EQ(first.window.attributedNation, "");
  ASSERT_EQ(w.reply(answer(true, AlertScope::address)), " 4 0 0");

  auto release = w.holdServices();
  w.zones("192.0.2.0/24");
  auto& second = w.open("192.0.2.2");
  ASSERT_TRUE(w.settleUntil([&] { return !second.window.attributedNation.empty(); }));
  EXPECT_EQ(second.window.descriptionString.text,
            "ada using Tool is trying a TCP connection to Italy at 192.0.2.2 on port 443.")
      << "the location before the service";
  ASSERT_EQ(w.reply(answer(true, AlertScope::address)), " 4 0 0");
  release.set_value();
  w.settleUntil([] { return false; }, 30);
  EXPECT_EQ(second.window.attributedPort, "443") << "the service came after the close";
  EXPECT_EQ(second.window.descriptionString.text,
            "ada using Tool is trying a TCP connection to Italy at 192.0.2.2 on port 443.");
  EXPECT_FALSE(second.window.shown);
}

TEST(AlertFacts, MissingFactsLeaveTheFieldsAndPicturesFallBackToTheComputer) {
  FactsWorld w;
  w.runner.answerWith(exited(1, "x"));
  w.users.set({{"ada", UserPicture{"/pics/ada", 0, 48}}});
  w.agent.alertFacts.awakeFromNib();
  w.zones("203.0.113.0/24");
  auto& a = w.open("::ffff:198.51.100.7");
  ASSERT_TRUE(w.settleUntil([&] { return !a.window.attributedNation.empty() && !a.window.userPicture.empty(); }));
  ASSERT_TRUE(w.settleUntil([&] { return a.window.attributedPort == "443 "; })) << "a failed script: no service";
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
  ASSERT_TRUE(w.settleUntil([&] { return !a.window.ledNoSignature.hidden; }));
  EXPECT_EQ(a.window.processSignatureValidity.text, "missing signature");
  EXPECT_TRUE(a.window.ledAppleSignature.hidden && a.window.ledInvalidSignature.hidden);
}

}  // namespace
