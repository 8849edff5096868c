// The check of a request against the rules of the managed apps. Candidates are found by loose
// substring tests and known apps by exact ones; the two need not agree, and that looseness is
// part of the behaviour.
//
// The main loop edits the apps (their states, entries and the library's order) while the check
// runs on the synchronised queue, so the check holds the library's lock while it reads the
// mirror and the apps and while it adds a quiet app's address. The request is finished, or handed
// to the alert, after the lock has been let go.

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
        for (const auto& rule : app->appMatches) answered = walkRule(rule, state) || answered;
      }
    }
  }
  if (answered) return true;

  if (auto known = getAppFromGlobalArray(path)) {
    if (known->appIsQuietPass) {
      answerQuiet(*known, '@');
      return true;
    }
    if (known->appIsQuietBlock) {
      answerQuiet(*known, '#');
      return true;
    }
  }
  return false;
}

bool HXNotifyWindowController::walkRule(const std::string& rule, std::int64_t state) {
  // Every test is made for every rule; a hit does not end the walk.
  const std::string prefix = " " + std::to_string(state);
  bool sent = false;
  auto send = [&](const char* suffix) {
    reply(prefix + suffix);
    sent = true;
  };
  if (rule == "@" + parameters.processIP) send(" 0 0");
  if (rule == "#" + parameters.processIP) send(" 0 1");
  if (rule == "@" + parameters.processPort) send(" 1 0");
  if (rule == "#" + parameters.processPort) send(" 1 1");
  if (!contains(rule, "/")) return sent;

  const std::string network = withoutMarks(rule);
  const char* verdict = (!rule.empty() && rule[0] == '@') ? " 0 0" : " 0 1";
  if (contains(rule, ":") && DVMatchIP().matchIPV6(parameters.processIP, network)) send(verdict);
  if (DVMatchIP().matchIP(parameters.processIP, network)) send(verdict);
  return sent;
}

void HXNotifyWindowController::answerQuiet(HXApplication& app, char kind) {
  mostro = false;
  reply(kind == '@' ? " 4 0 0" : " 4 0 1");
  // The address is remembered once; every later request is answered all the same.
  const std::string rule = std::string(1, kind) + parameters.processIP;
  bool present = false;
  for (const auto& entry : app.appMatches) present = present || entry == rule;
  if (!present) app.appMatches.push_back(rule);
}

}  // namespace halvex
