#pragma once
// The running applications of this session: the processes of this user that run the agent's
// executable within the same system root (HALVEX_ROOT), each named "Halvex", and those of the
// companion firewall (program "dovik"), each named "Dovik".

#include <string>

#include "platform/RunningApplications.h"

namespace halvex {

class LinuxRunningApplications final : public RunningApplications {
 public:
  LinuxRunningApplications(std::string executableName, std::string root, std::string procRoot = "/proc");
  std::vector<std::string> localizedNames() const override;

 private:
  std::string executableName_;
  std::string root_;
  std::string procRoot_;
};

}  // namespace halvex
