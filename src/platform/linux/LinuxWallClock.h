#pragma once
// The system clock, and dates written by strftime in the locale the environment names (LC_ALL,
// LC_TIME, LANG), without changing the locale of the process.

#include <locale.h>

#include "platform/WallClock.h"

namespace halvex {

class LinuxWallClock final : public WallClock {
 public:
  LinuxWallClock();
  ~LinuxWallClock() override;
  LinuxWallClock(const LinuxWallClock&) = delete;
  LinuxWallClock& operator=(const LinuxWallClock&) = delete;

  TimePoint now() const override;
  std::string localDateText(TimePoint time) const override;

 private:
  locale_t locale_;
};

}  // namespace halvex
