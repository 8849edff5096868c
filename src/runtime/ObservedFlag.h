#pragma once
// A program-wide flag that a tray icon or a status line shows: read and written from any thread
// like an atomic, and announcing every change of value (never a write of the same value) to its
// listeners, on the writing thread.

#include <atomic>

#include "runtime/Signal.h"

namespace halvex {

class ObservedFlag {
 public:
  explicit ObservedFlag(bool initial = false) : value_(initial) {}
  ObservedFlag(const ObservedFlag&) = delete;
  ObservedFlag& operator=(const ObservedFlag&) = delete;

  bool load() const { return value_.load(); }
  operator bool() const { return load(); }  // NOLINT(google-explicit-constructor): reads like the atomic it replaces

  void store(bool value) {
    if (value_.exchange(value) != value) changed(value);
  }
  ObservedFlag& operator=(bool value) {
    store(value);
    return *this;
  }

  // Raised with the new value.
  Signal<bool> changed;

 private:
  std::atomic<bool> value_;
};

}  // namespace halvex
