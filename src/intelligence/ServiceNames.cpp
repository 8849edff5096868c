#include "intelligence/ServiceNames.h"

#include <algorithm>

namespace halvex {

std::optional<std::string> serviceNameScript(std::string_view port) {
  if (port.empty() || !std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return std::nullopt;
  // Inside a script string: the shell gets gsub(/\t/, "  "), tabs become two blanks so that the
  // port's column always follows a blank.
  return "cat /etc/services |awk '{ gsub(/\\\\t/, \\\"  \\\"); print }' |grep ' " + std::string(port) + "/' |head -1";
}

std::string serviceTextFromAnswer(std::string_view answer) {
  if (answer.empty() || answer == kScriptError) return {};
  std::string text;
  for (const char c : answer)
    if (c != '#') text += c;
  // One pass of "  " -> " ", as a plain replacement of each occurrence does.
  std::string single;
  for (std::size_t at = 0; at < text.size(); ++at) {
    single += text[at];
    if (text[at] == ' ' && at + 1 < text.size() && text[at + 1] == ' ') ++at;
  }
  std::string name = single.substr(0, single.find(' '));
  name = name.substr(0, name.find('\n'));
  return "(" + name + ")";
}

std::string serviceText(std::string_view port, const CommandRunner& runner) {
  const auto script = serviceNameScript(port);
  if (!script) return {};
  return serviceTextFromAnswer(runner.quietScript(*script));
}

}  // namespace halvex
