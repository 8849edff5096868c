#pragma once
// The agent's two command runners.
//
// The direct runner starts a program with an argument list; standard output and standard error
// share one pipe, the exit status is not looked at, and the text printed is the answer.
//
// The script runner takes the inside of a quoted script string plus a suffix, exactly as the
// callers put it together: `doScript(command, kPlainSuffix)` runs the command quietly through
// /bin/sh -c, `doScript(command, kAdministratorSuffix)` runs it through pkexec (the desktop's
// password prompt) as root. Inside the command a double quote is written \" and a backslash \\,
// as in any script string literal. The answer is what the command printed on standard output, less
// one final line feed, or exactly "ERROR" on any failure: a text that is no well-formed script, a
// program that cannot start, a refused password prompt, a non-zero exit, the time limit.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ProcessRunner.h"

namespace halvex {

inline constexpr std::string_view kScriptError = "ERROR";
inline constexpr std::string_view kPlainSuffix = "\"";
inline constexpr std::string_view kAdministratorSuffix = "\" with administrator privileges";

struct CommandRunnerLimits {
  // Longest a quiet command may run; the administrator form has no limit, since the password
  // prompt waits for the user.
  std::optional<std::chrono::milliseconds> scriptTimeout = std::chrono::seconds(60);
  std::optional<std::chrono::milliseconds> directTimeout = std::chrono::seconds(60);
  std::string shell = "/bin/sh";
  std::string elevator = "/usr/bin/pkexec";
};

// What a script text says to do, once its quoting is undone.
struct ParsedScript {
  std::string shellCommand;
  bool withAdministratorPrivileges = false;
};

// Reads `do shell script "..."` with an optional ` with administrator privileges`; nothing for a
// text that is not exactly that form (an unescaped quote inside the command, say).
std::optional<ParsedScript> parseShellScript(std::string_view script);

// The bytes as UTF-8 text: every byte sequence that is not valid UTF-8 becomes U+FFFD.
std::string toValidUtf8(std::string_view bytes);

class CommandRunner {
 public:
  explicit CommandRunner(ProcessRunner& processes, CommandRunnerLimits limits = {});

  // Runs launchPath with the arguments and returns everything it printed, standard error
  // included. A program that cannot be started prints nothing, so the text is empty.
  std::string eseguiShellCommand(const std::string& launchPath, const std::vector<std::string>& argomenti) const;

  std::string doScript(std::string_view command, std::string_view suffix) const;
  // The administrator form.
  std::string doAScript(std::string_view command) const { return doScript(command, kAdministratorSuffix); }
  std::string doScriptWithAdmin(std::string_view command) const { return doScript(command, kAdministratorSuffix); }
  // The quiet form, with the plain suffix.
  std::string quietScript(std::string_view command) const { return doScript(command, kPlainSuffix); }
  // The quiet form, answer discarded.
  void asExec(std::string_view command) const { (void)quietScript(command); }

 private:
  ProcessRunner& processes_;
  CommandRunnerLimits limits_;
};

}  // namespace halvex
