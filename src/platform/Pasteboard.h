#pragma once
// The desktop's clipboard, for the copy items of the alert and the log.

#include <string>

namespace halvex {

class Pasteboard {
 public:
  virtual ~Pasteboard() = default;
  virtual void setString(const std::string& text) = 0;
  virtual std::string string() const = 0;
};

}  // namespace halvex
