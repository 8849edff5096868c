#include "commands/CommandRunner.h"

namespace halvex {
namespace {

constexpr std::string_view kScriptHead = "do shell script \"";
constexpr std::string_view kAdministratorTail = " with administrator privileges";

// Length of the valid UTF-8 sequence at the start of `s`, or 0.
std::size_t utf8SequenceLength(std::string_view s) {
  const auto b0 = static_cast<unsigned char>(s[0]);
  if (b0 < 0x80) return 1;
  std::size_t length;
  unsigned char low = 0x80, high = 0xBF;
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    length = 2;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    length = 3;
    if (b0 == 0xE0) low = 0xA0;   // no overlong forms
    if (b0 == 0xED) high = 0x9F;  // no surrogates
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    length = 4;
    if (b0 == 0xF0) low = 0x90;
    if (b0 == 0xF4) high = 0x8F;  // nothing above U+10FFFF
  } else {
    return 0;
  }
  if (s.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    const auto b = static_cast<unsigned char>(s[i]);
    if (b < (i == 1 ? low : 0x80) || b > (i == 1 ? high : 0xBF)) return 0;
  }
  return length;
}

}  // namespace

std::optional<ParsedScript> parseShellScript(std::string_view script) {
  if (script.substr(0, kScriptHead.size()) != kScriptHead) return std::nullopt;
  ParsedScript parsed;
  std::size_t i = kScriptHead.size();
  for (;; ++i) {
    if (i >= script.size()) return std::nullopt;  // the string literal never ends
    const char c = script[i];
    if (c == '"') break;
    if (c == '\\') {
      if (++i >= script.size()) return std::nullopt;
      switch (script[i]) {
        case '"': parsed.shellCommand += '"'; break;
        case '\\': parsed.shellCommand += '\\'; break;
        case 'n': parsed.shellCommand += '\n'; break;
        case 't': parsed.shellCommand += '\t'; break;
        case 'r': parsed.shellCommand += '\r'; break;
        default: return std::nullopt;  // no such escape in a script string
      }
      continue;
    }
    parsed.shellCommand += c;
  }
  const std::string_view rest = script.substr(i + 1);
  if (rest.empty()) return parsed;
  if (rest == kAdministratorTail) {
    parsed.withAdministratorPrivileges = true;
    return parsed;
  }
  return std::nullopt;
}

std::string toValidUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t n = utf8SequenceLength(bytes);
    if (n == 0) {
      text += "\xEF\xBF\xBD";
      bytes.remove_prefix(1);
    } else {
      text.append(bytes.substr(0, n));
      bytes.remove_prefix(n);
    }
  }
  return text;
}

CommandRunner::CommandRunner(ProcessRunner& processes, CommandRunnerLimits limits)
    : processes_(processes), limits_(std::move(limits)) {}

std::string CommandRunner::eseguiShellCommand(const std::string& launchPath,
                                              const std::vector<std::string>& argomenti) const {
  ProcessRequest request;
  request.launchPath = launchPath;
  request.arguments = argomenti;
  request.joinStandardError = true;
  request.timeout = limits_.directTimeout;
  return toValidUtf8(processes_.run(request).output);
}

std::string CommandRunner::doScript(std::string_view command, std::string_view suffix) const {
  std::string script(kScriptHead);
  script += command;
  script += suffix;
  const auto parsed = parseShellScript(script);
  if (!parsed) return std::string(kScriptError);

  ProcessRequest request;
  if (parsed->withAdministratorPrivileges) {
    request.launchPath = limits_.elevator;
    request.arguments = {limits_.shell, "-c", parsed->shellCommand};
  } else {
    request.launchPath = limits_.shell;
    request.arguments = {"-c", parsed->shellCommand};
    request.timeout = limits_.scriptTimeout;
  }
  request.joinStandardError = false;
  const ProcessResult result = processes_.run(request);
  if (!result.launched || result.timedOut || result.exitStatus != 0) return std::string(kScriptError);
  std::string text = toValidUtf8(result.output);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

}  // namespace halvex
