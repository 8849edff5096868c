#pragma once
// A scalar field that one thread may write while another reads it: an atomic that still copies
// and reads like a plain value, so records keep their field syntax (`app.appIsQuietPass = true`).

#include <atomic>
#include <ostream>

namespace halvex {

template <class T>
class AtomicField {
 public:
  AtomicField(T value = T{}) : value_(value) {}
  AtomicField(const AtomicField& other) : value_(other.load()) {}
  AtomicField& operator=(const AtomicField& other) {
    store(other.load());
    return *this;
  }
  AtomicField& operator=(T value) {
    store(value);
    return *this;
  }
  operator T() const { return load(); }
  T load() const { return value_.load(std::memory_order_acquire); }
  void store(T value) { value_.store(value, std::memory_order_release); }
  // Stores `value` and answers what was there.
  T exchange(T value) { return value_.exchange(value, std::memory_order_acq_rel); }
  // Stores `desired` only when the field holds `expected`; answers whether it did.
  bool compareExchange(T expected, T desired) {
    return value_.compare_exchange_strong(expected, desired, std::memory_order_acq_rel);
  }

  friend std::ostream& operator<<(std::ostream& out, const AtomicField& field) { return out << field.load(); }

 private:
  std::atomic<T> value_;
};

}  // namespace halvex
