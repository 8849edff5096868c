#pragma once
// The channel's socket operations in memory: datagrams for the reader are queued by the test,
// replies are recorded, and any step can be made to fail.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/UnixDatagramSockets.h"

namespace halvex::test {

class FakeSockets final : public UnixDatagramSockets {
 public:
  static constexpr int kNoBufferSpace = 105;
  static constexpr int kNotConnected = 57;

  bool failSocket = false, failSendBuffer = false, failReceiveBuffer = false, failBind = false;
  // Non-zero: a shutdown fails with it. A failed shutdown leaves a blocked receive blocked.
  int shutdownError = 0;
  bool failClose = false;
  int sendError = 0;  // non-zero: every send fails with it
  // How long each send takes, as a busy socket would; set before the channel is used.
  std::chrono::microseconds sendDelay{0};

  // The order of the operations as they were called, e.g. "unlink /a", "bind /a".
  std::vector<std::string> calls;
  unsigned modeSet = 0, presetModeSet = 0;

  // A datagram for the reader, as raw bytes (a receive copies at most the size asked for);
  // nothing (the default) makes the reader's receive (once the queue before it is empty) return 0.
  void deliver(std::optional<std::string> bytes = std::nullopt) {
    std::lock_guard lock(mutex_);
    incoming_.push_back(std::move(bytes));
    changed_.notify_all();
  }
  // Replies sent so far: whole datagrams, or the text up to each one's NUL.
  std::vector<std::string> sentDatagrams() const {
    std::lock_guard lock(mutex_);
    return sent_;
  }
  std::vector<std::string> sentLines() const {
    std::vector<std::string> lines;
    for (const auto& datagram : sentDatagrams()) lines.emplace_back(datagram.c_str());
    return lines;
  }
  // Forgets the replies so far (a fuzz target's runs would pile them up).
  void forgetSent() {
    std::lock_guard lock(mutex_);
    sent_.clear();
  }

  int openSocket(int& error) override {
    if (record("socket", failSocket)) return 7;
    error = 24;
    return -1;
  }
  bool setSendBufferSize(int, int bytes) override { return record("sndbuf " + std::to_string(bytes), failSendBuffer); }
  bool setReceiveBufferSize(int, int bytes) override {
    return record("rcvbuf " + std::to_string(bytes), failReceiveBuffer);
  }
  void unlinkPath(const std::string& path) override { record("unlink " + path); }
  bool bindPath(int, const std::string& path, int& error) override {
    if (record("bind " + path, failBind)) return true;
    error = 2;
    return false;
  }
  void changeMode(const std::string& path, unsigned mode) override {
    record("chmod " + path);
    modeSet = mode;
  }
  bool presetMode(int, unsigned mode) override {
    presetModeSet = mode;
    return record("preset");
  }
  // Waits until a reader is inside a receive (blocked there when nothing is queued); false after
  // five seconds.
  bool waitForBlockedReceive() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(5), [&] { return receiving_ > 0; });
  }

  long receive(int, char* buffer, std::size_t size) override {
    std::unique_lock lock(mutex_);
    ++receiving_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return closed_ || !incoming_.empty(); });
    --receiving_;
    if (closed_) return 0;
    const auto datagram = std::move(incoming_.front());
    incoming_.pop_front();
    if (!datagram) return 0;
    const std::size_t n = std::min(size, datagram->size());
    std::memcpy(buffer, datagram->data(), n);
    return static_cast<long>(n);
  }
  long sendTo(int, const char* buffer, std::size_t size, const std::string&, int& error) override {
    if (sendDelay.count() > 0) std::this_thread::sleep_for(sendDelay);
    std::lock_guard lock(mutex_);
    if (sendError) {
      error = sendError;
      return -1;
    }
    sent_.emplace_back(buffer, size);
    return static_cast<long>(size);
  }
  bool isNoBufferSpace(int error) const override { return error == kNoBufferSpace; }
  void shutdownAndClose(int) override {
    std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
  }
  bool shutdownSocket(int, int& error) override {
    if (!record("shutdown", shutdownError != 0)) {
      error = shutdownError;
      return false;
    }
    std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
    return true;
  }
  bool closeSocket(int) override { return record("close", failClose); }
  bool isNotConnected(int error) const override { return error == kNotConnected; }

 private:
  // Notes the call; false when it is made to fail.
  bool record(std::string call, bool fails = false) {
    std::lock_guard lock(mutex_);
    calls.push_back(std::move(call));
    return !fails;
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::optional<std::string>> incoming_;
  std::vector<std::string> sent_;
  bool closed_ = false;
  int receiving_ = 0;
};

}  // namespace halvex::test
