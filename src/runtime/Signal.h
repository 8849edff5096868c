#pragma once
// A change signal with any number of listeners. A view state's owner raises it after every change;
// each front end (and each test) connects as many listeners as it needs and lets go of them with
// the token, or by dropping the `Connection` that owns the token.
//
// Raising is allowed from any thread: the listeners run on the raising thread, outside the lock,
// in the order they connected. A listener may connect or disconnect listeners (itself included)
// while it runs; the change applies from the next raise. A listener disconnected by another
// thread during a raise may still run once.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace halvex {

template <class... Args>
class Signal {
 public:
  using Token = std::uint64_t;
  using Listener = std::function<void(Args...)>;

  Signal() = default;
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  Token connect(Listener listener) {
    std::lock_guard lock(mutex_);
    const Token token = nextToken_++;
    auto next = std::make_shared<Listeners>(*listeners_);
    next->emplace_back(token, std::make_shared<Listener>(std::move(listener)));
    listeners_ = std::move(next);
    return token;
  }

  // An unknown token (or one already disconnected) does nothing.
  void disconnect(Token token) {
    std::lock_guard lock(mutex_);
    auto next = std::make_shared<Listeners>();
    for (const auto& entry : *listeners_)
      if (entry.first != token) next->push_back(entry);
    listeners_ = std::move(next);
  }

  void operator()(Args... args) const {
    std::shared_ptr<const Listeners> current;
    {
      std::lock_guard lock(mutex_);
      current = listeners_;
    }
    for (const auto& entry : *current) (*entry.second)(args...);
  }

  std::size_t listenerCount() const {
    std::lock_guard lock(mutex_);
    return listeners_->size();
  }

 private:
  using Listeners = std::vector<std::pair<Token, std::shared_ptr<Listener>>>;
  mutable std::mutex mutex_;
  std::shared_ptr<const Listeners> listeners_ = std::make_shared<Listeners>();
  Token nextToken_ = 1;
};

// Owns one connection and ends it when it goes, so that a listener never outlives its owner.
class Connection {
 public:
  Connection() = default;
  template <class... Args>
  Connection(Signal<Args...>& signal, typename Signal<Args...>::Listener listener)
      : disconnect_([&signal, token = signal.connect(std::move(listener))] { signal.disconnect(token); }) {}
  Connection(Connection&& other) noexcept : disconnect_(std::exchange(other.disconnect_, {})) {}
  Connection& operator=(Connection&& other) noexcept {
    if (this != &other) {
      reset();
      disconnect_ = std::exchange(other.disconnect_, {});
    }
    return *this;
  }
  ~Connection() { reset(); }

  void reset() {
    if (disconnect_) std::exchange(disconnect_, {})();
  }

 private:
  std::function<void()> disconnect_;
};

}  // namespace halvex
