#pragma once
// Plays a named sound of the desktop's sound theme ("Bottle.aiff" names the theme's "Bottle"
// sound). Without a sound device, or headless, nothing plays and nothing fails.

#include <string>

namespace halvex {

class SoundPlayer {
 public:
  virtual ~SoundPlayer() = default;
  virtual void play(const std::string& soundName) = 0;
};

}  // namespace halvex
