#pragma once
// The name of the service a port number stands for, from the system's list of services
// (/etc/services), as the alert shows it after the port: "(https)".

#include <optional>
#include <string>
#include <string_view>

#include "commands/CommandRunner.h"

namespace halvex {

// The quiet script that prints the list's first line for the port, or nothing for a port text
// that is not all decimal digits: the port comes from the request socket, which every local user
// can write to, so anything else would reach the shell.
std::optional<std::string> serviceNameScript(std::string_view port);

// "(" + name + ")" from the script's answer; empty for no answer or "ERROR".
std::string serviceTextFromAnswer(std::string_view answer);

// The service text of a port, by the script.
std::string serviceText(std::string_view port, const CommandRunner& runner);

}  // namespace halvex
