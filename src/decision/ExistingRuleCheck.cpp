// The check of a request against the rules of the managed apps. Candidates are found by loose
// substring tests and known apps by exact ones; the two need not agree, and that looseness is
// part of the behaviour.
//
// The main loop edits the apps (their states, entries and the library's order) while the check
// runs on the synchronised queue, so the check holds the library's lock while it reads the
// mirror and the apps and while it adds a quiet app's address. The request is finished, or handed
// to the alert, after the lock has been let go.

#include <algorithm>
#include <mutex>
#include <string>

#include "decision/HXNotifyWindowController.h"
#include "rules/AppPaths.h"
#include "rules/DVMatchIP.h"
#include "rules/HXApplication.h"

namespace halvex {
namespace {

bool contains(const std::string& haystack, const std::string& needle) {
  return haystack.find(needle) != std::string::npos;
}

std::string withoutMarks(const std::string& rule) {
  std::string out;
  for (char c : rule)
    if (c != '#' && c != '@') out.push_back(c);
  return out;
}

}  // namespace

void HXNotifyWindowController::checkExistingRules() {
  if (answerByRules()) {
    resumeQueue(parameters.tagNotify);
    return;
  }
  openAlert();
}

bool HXNotifyWindowController::answerByRules() {
  const std::string& path = parameters.processName;
  bool answered = false;
  // An app whose whole list was walked without a hit holds no rule of this address.
  const HXApplication* walked = nullptr;
  std::lock_guard lock(context_.globals.appsLibraryLock);

  std::vector<std::shared_ptr<HXApplication>> candidates;
  for (const auto& app : context_.globals.globalAppsArray)
    if (contains(path, app->appName)) candidates.push_back(app);

  for (const auto& app : candidates) {
    for (const auto& binary : app->appBinaries) {
      // Read afresh for every binary: the state is atomic, and not every writer holds the lock.
      const std::int64_t state = app->appIsBlockedOrAllowed;
      if (state >= 0 && state <= 3) {
        if (contains(path, binary)) {
          reply(" " + std::to_string(state) + " # #");
          answered = true;
        }
      } else if (state == 4 && contains(path, binary)) {
        // An app in quiet time gains a rule with every answer, and each request walks them all:
        // a rule that cannot hit is passed over by its length, its last character and one scan
        // for a network. Only a rule one mark longer than the address or the port can equal it.
        const std::string_view ip = parameters.processIP;
        const std::string_view port = parameters.processPort;
        const auto mayEqual = [](const std::string& rule, std::string_view value) {
          return rule.size() == value.size() + 1 && (value.empty() || rule.back() == value.back());
        };
        for (const auto& rule : app->appMatches) {
          if (mayEqual(rule, ip) || mayEqual(rule, port) || rule.find('/') != std::string::npos)
            answered = walkRule(rule, state) || answered;
        }
        walked = app.get();
      }
    }
  }
  if (answered) return true;

  if (auto known = getAppFromGlobalArray(path)) {
    const bool listWalked = walked == known.get();
    if (known->appIsQuietPass) {
      answerQuiet(*known, '@', listWalked);
      return true;
    }
    if (known->appIsQuietBlock) {
      answerQuiet(*known, '#', listWalked);
      return true;
    }
  }
  return false;
}

bool HXNotifyWindowController::walkRule(const std::string& rule, std::int64_t state) {
  // Every test is made for every rule; a hit does not end the walk. Nothing is built unless a
  // reply goes out.
  const std::string_view ip = parameters.processIP;
  const std::string_view port = parameters.processPort;
  bool sent = false;
  auto send = [&](const char* suffix) {
    reply(" " + std::to_string(state) + suffix);
    sent = true;
  };
  const bool pass = !rule.empty() && rule[0] == '@';
  const bool block = !rule.empty() && rule[0] == '#';
  if (pass || block) {
    const std::string_view value = std::string_view(rule).substr(1);
    if (value == ip) send(pass ? " 0 0" : " 0 1");
    if (value == port) send(pass ? " 1 0" : " 1 1");
  }
  if (rule.find('/') == std::string::npos) return sent;

  const std::string network = withoutMarks(rule);
  const char* verdict = pass ? " 0 0" : " 0 1";
  if (contains(rule, ":") && DVMatchIP().matchIPV6(parameters.processIP, network)) send(verdict);
  if (DVMatchIP().matchIP(parameters.processIP, network)) send(verdict);
  return sent;
}

void HXNotifyWindowController::answerQuiet(HXApplication& app, char kind, bool listWalked) {
  mostro = false;
  reply(kind == '@' ? " 4 0 0" : " 4 0 1");
  // The address is remembered once; every later request is answered all the same. After a walk
  // without a hit it cannot be there: its rule would have answered.
  const std::string rule = std::string(1, kind) + parameters.processIP;
  if (listWalked || std::find(app.appMatches.begin(), app.appMatches.end(), rule) == app.appMatches.end())
    app.appMatches.push_back(rule);
}

}  // namespace halvex
