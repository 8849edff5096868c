#include "platform/linux/LinuxProcessControl.h"

#include <cstdio>
#include <cstdlib>

namespace halvex {

void LinuxProcessControl::exitProcess(int status) {
  std::fflush(stdout);
  std::fflush(stderr);
  // No destructors: worker threads may be blocked in system calls for the life of the process.
  std::_Exit(status);
}

void LinuxProcessControl::fatal(const std::string& message) {
  std::fprintf(stderr, "halvex: fatal: %s\n", message.c_str());
  std::fflush(stdout);
  std::fflush(stderr);
  std::abort();
}

}  // namespace halvex
