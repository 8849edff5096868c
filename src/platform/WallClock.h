#pragma once
// The calendar's clock: the moment now, and a moment as the user's locale writes a date and a
// time. Distinct from the main loop's clock, which is steady and only measures intervals.

#include <chrono>
#include <string>

namespace halvex {

class WallClock {
 public:
  using TimePoint = std::chrono::system_clock::time_point;

  virtual ~WallClock() = default;
  virtual TimePoint now() const = 0;
  // The local date and time of `time` in the user's locale: the short form of the date, then the
  // time with its seconds.
  virtual std::string localDateText(TimePoint time) const = 0;
};

}  // namespace halvex
