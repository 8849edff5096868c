#pragma once
// The channel's socket operations in memory: datagrams for the reader are queued by the test,
// replies are recorded, and any step can be made to fail.

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "platform/UnixDatagramSockets.h"

namespace halvex::test {

class FakeSockets final : public UnixDatagramSockets {
 public:
  static constexpr int kNoBufferSpace = 105;

  bool failSocket = false, failSendBuffer = false, failReceiveBuffer = false, failBind = false;
  int sendError = 0;  // non-zero: every send fails with it

  // The order of the operations as they were called, e.g. "unlink /a", "bind /a".
  std::vector<std::string> calls;
  unsigned modeSet = 0;

  // A datagram for the reader, as raw bytes (a receive copies at most the size asked for).
  void deliver(std::string bytes);
  // Makes the reader's next receive (once the queue is empty) return 0.
  void deliverEnd();
  // Replies sent so far: the text up to each datagram's NUL, and the datagrams' sizes.
  std::vector<std::string> sentLines() const;
  std::vector<std::size_t> sentSizes() const;
  // Waits for `count` replies in all.
  bool waitForSent(std::size_t count, int milliseconds = 5000) const;

  int openSocket(int& error) override;
  bool setSendBufferSize(int fd, int bytes) override;
  bool setReceiveBufferSize(int fd, int bytes) override;
  void unlinkPath(const std::string& path) override;
  bool bindPath(int fd, const std::string& path, int& error) override;
  void changeMode(const std::string& path, unsigned mode) override;
  long receive(int fd, char* buffer, std::size_t size) override;
  long sendTo(int fd, const char* buffer, std::size_t size, const std::string& path, int& error) override;
  bool isNoBufferSpace(int error) const override { return error == kNoBufferSpace; }
  void shutdownAndClose(int fd) override;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::deque<std::string> incoming_;  // an empty string (not a datagram) marks the end
  std::vector<std::string> sent_;
  std::vector<std::size_t> sentSizes_;
  bool closed_ = false;
};

}  // namespace halvex::test
