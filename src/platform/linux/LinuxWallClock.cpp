#include "platform/linux/LinuxWallClock.h"

#include <time.h>

namespace halvex {

LinuxWallClock::LinuxWallClock() {
  // An environment that names a locale the system lacks gets the plain "C" forms.
  locale_ = ::newlocale(LC_TIME_MASK, "", static_cast<locale_t>(nullptr));
  if (locale_ == static_cast<locale_t>(nullptr))
    locale_ = ::newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(nullptr));
}

LinuxWallClock::~LinuxWallClock() {
  if (locale_ != static_cast<locale_t>(nullptr)) ::freelocale(locale_);
}

WallClock::TimePoint LinuxWallClock::now() const { return std::chrono::system_clock::now(); }

std::string LinuxWallClock::localDateText(TimePoint time) const {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  if (::localtime_r(&seconds, &local) == nullptr) return {};
  char text[128];
  const std::size_t length = locale_ != static_cast<locale_t>(nullptr)
                                 ? ::strftime_l(text, sizeof text, "%x %X", &local, locale_)
                                 : ::strftime(text, sizeof text, "%x %X", &local);
  return std::string(text, length);
}

}  // namespace halvex
