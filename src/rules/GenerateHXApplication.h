#pragma once
// Making a managed app from a process path: the one way the alert, the alerts-off path and the
// library turn a path into an entry.

#include <cstdint>
#include <memory>
#include <string>

#include "rules/RulesContext.h"

namespace halvex {

class HXApplication;

// A path inside a bundle makes an entry for the outermost bundle (named by it, binaries its
// name and "/"); any other path an entry for the binary itself. The entry is persistent and has
// the given rule state; it is in no list yet.
std::shared_ptr<HXApplication> generateHXApplication(const RulesContext& context, std::int64_t rule,
                                                     const std::string& applicationPath);

}  // namespace halvex
