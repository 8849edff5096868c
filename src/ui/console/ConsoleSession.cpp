#include "ui/console/ConsoleSession.h"

#include <sstream>
#include <vector>

#include "rules/HXApplication.h"

namespace halvex {
namespace {

std::vector<std::string> words(std::string_view text) {
  std::istringstream in{std::string(text)};
  std::vector<std::string> out;
  for (std::string w; in >> w;) out.push_back(w);
  return out;
}

}  // namespace

ConsoleSession::ConsoleSession(Composition& agent, std::FILE* out)
    : agent_(agent),
      out_(out),
      commands_(agent.sockController, agent.flagsController, agent.signatureInspector, agent.ports.processOwners,
                agent.ports.fileSystem, agent.globals.globalBackground, agent.globals.findFlag, agent.frontEnd.mainLoop,
                out) {}

void ConsoleSession::execute(std::string_view text) {
  if (words(text.substr(0, 64)) == std::vector<std::string>{"apps"}) return listApps();
  if (words(text.substr(0, 64)) == std::vector<std::string>{"help"}) {
    // The session's own lines first: the commands list theirs.
    line("[help] pass|block [app|port|address|network NET]  answers the oldest open alert");
    line("[help] apps               the managed apps, their rules and signatures");
  }
  if (!answer(text)) commands_.execute(text);
}

void ConsoleSession::listApps() {
  std::lock_guard lock(agent_.appsLibrary.libraryLock());
  const auto& apps = agent_.appsLibrary.appsLibrary;
  line("[apps] " + std::to_string(apps.size()) + (apps.size() == 1 ? " app" : " apps"));
  for (const auto& app : apps) {
    std::string entries;
    for (const auto& entry : app->appMatches) entries += " " + entry;
    const std::string signature = app->appIsSignedByApple ? "signed by the vendor"
                                  : app->appIsSigned      ? (app->appHasValidSignature ? "signed" : "signed, invalid")
                                                          : "not signed";
    line("[apps] " + printableText(app->appPath) + " state " + std::to_string(app->appIsBlockedOrAllowed.load()) + " " +
         signature + (app->appSignatureInfo.empty() ? "" : " (" + printableText(app->appSignatureInfo) + ")") +
         (entries.empty() ? "" : ":" + printableText(entries)));
  }
}

bool ConsoleSession::answer(std::string_view text) {
  if (text.size() > ConsoleCommands::kMaxLineBytes) return false;  // refused by the commands
  const auto w = words(text);
  if (w.empty() || (w[0] != "pass" && w[0] != "block")) return false;
  AlertAnswer answer;
  answer.pass = w[0] == "pass";
  const std::string scope = w.size() > 1 ? w[1] : "app";
  if (scope == "app" && w.size() <= 2) {
    answer.scope = AlertScope::app;
  } else if (scope == "port" && w.size() == 2) {
    answer.scope = AlertScope::port;
  } else if (scope == "address" && w.size() == 2) {
    answer.scope = AlertScope::address;
  } else if (scope == "network" && w.size() == 3) {
    answer.scope = AlertScope::network;
    answer.network = w[2];
  } else {
    line("[alert] usage: pass|block [app|port|address|network NET]");
    return true;
  }
  const auto open = agent_.alertAnswers.openAlerts();
  if (open.empty()) {
    line("[alert] no alert is open");
    return true;
  }
  agent_.alertAnswers.answer(open.front(), answer);
  return true;
}

void ConsoleSession::line(const std::string& text) {
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
}

void ConsoleSession::readFrom(std::FILE* in) {
  // The thread never touches the session itself: it may outlive it, blocked in its read.
  std::thread([this, in, alive = alive_, &loop = agent_.frontEnd.mainLoop] {
    std::string text;
    auto hand = [&] {
      loop.post([this, alive, line = std::move(text)] {
        if (*alive) execute(line);
      });
      text.clear();
    };
    for (int c; (c = std::fgetc(in)) != EOF;) {
      if (c == '\n') {
        hand();
      } else if (text.size() <= ConsoleCommands::kMaxLineBytes) {
        text.push_back(static_cast<char>(c));
      }
    }
    if (!text.empty()) hand();
  }).detach();
}

}  // namespace halvex
