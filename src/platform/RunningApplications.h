#pragma once
// The localized names of the running applications of this session (this agent included).

#include <string>
#include <vector>

namespace halvex {

class RunningApplications {
 public:
  virtual ~RunningApplications() = default;
  virtual std::vector<std::string> localizedNames() const = 0;
};

}  // namespace halvex
