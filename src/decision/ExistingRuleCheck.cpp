// The check of a request against the rules of the managed apps. Candidates are found by loose
// substring tests and known apps by exact ones; the two need not agree, and that looseness is
// part of the behaviour.

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
  const std::string& path = parameters.processName;
  bool answered = false;

  // A copy: the list is the queue's, but the check must not depend on it staying put.
  std::vector<std::shared_ptr<HXApplication>> candidates;
  for (const auto& app : context_.globals.globalAppsArray)
    if (contains(path, app->appName)) candidates.push_back(app);

  for (const auto& app : candidates) {
    const std::vector<std::string> binaries = app->appBinaries;
    for (const auto& binary : binaries) {
      // Read afresh for every binary: the main loop may change it meanwhile.
      const std::int64_t state = app->appIsBlockedOrAllowed;
      if (state >= 0 && state <= 3) {
        if (contains(path, binary)) {
          reply(" " + std::to_string(state) + " # #");
          answered = true;
        }
      } else if (state == 4 && contains(path, binary)) {
        const std::vector<std::string> rules = app->appMatches;
        for (const auto& rule : rules) answered = walkRule(rule, state) || answered;
      }
    }
  }

  if (answered) {
    resumeQueue(parameters.tagNotify);
    return;
  }

  if (auto known = getAppFromGlobalArray(path)) {
    if (known->appIsQuietPass) {
      answerQuiet(*known, '@');
      return;
    }
    if (known->appIsQuietBlock) {
      answerQuiet(*known, '#');
      return;
    }
  }
  openAlert();
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
  resumeQueue(parameters.tagNotify);
}

}  // namespace halvex
