#pragma once
// The console's answers to an alert, one line each:
//
//   pass|block                                 the selection as the alert opened
//   pass|block app [forever|login|MINUTES]     the whole app, for ever, until logout, or minutes
//   pass|block port                            the port
//   pass|block address [quiet [SECONDS]]       the address, with the quiet time switched on, for
//                                              SECONDS (1 to the longest quiet time) or as stored
//   pass|block network NET                     a network: for IPv4 one of the three offered
//                                              (as text, or /8, /16, /24), for IPv6 any that
//                                              holds the address
//   silence                                    alerts off; the request passes
//   kill                                       ends the process; the alert stays open
//   signature                                  tells who signed the asking program; the alert
//                                              stays open (with no alert open, the command's)
//   wait                                       gives the alert its full time again

#include <cstdint>
#include <string>
#include <string_view>

#include "decision/AlertAnswer.h"

namespace halvex {

struct AlertLine {
  enum class Kind { answer, silence, kill, wait, signature, notAnAnswer, invalid };
  Kind kind = Kind::notAnAnswer;
  AlertAnswer answer;
  // For Kind::invalid: what is wrong, for the person.
  std::string error;
};

// The minutes an answer may give the app: those of the alert's slider.
inline constexpr std::int64_t kMinAnswerMinutes = 1;
inline constexpr std::int64_t kMaxAnswerMinutes = 1440;

inline constexpr const char* kAlertUsage =
    "pass|block [app [forever|login|MINUTES] | port | address [quiet [SECONDS]] | network NET] | silence | kill | "
    "wait | signature";

// Reads one line. A line whose first word is none of the answers is Kind::notAnAnswer.
AlertLine parseAlertLine(std::string_view line);

}  // namespace halvex
