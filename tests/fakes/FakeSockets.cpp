#include "fakes/FakeSockets.h"

#include <cstring>

namespace halvex::test {

namespace {
const std::string kEndMarker("\xff<end>", 6);
}

void FakeSockets::deliver(std::string bytes) {
  std::lock_guard lock(mutex_);
  incoming_.push_back(std::move(bytes));
  changed_.notify_all();
}

void FakeSockets::deliverEnd() { deliver(kEndMarker); }

std::vector<std::string> FakeSockets::sentLines() const {
  std::lock_guard lock(mutex_);
  return sent_;
}

std::vector<std::size_t> FakeSockets::sentSizes() const {
  std::lock_guard lock(mutex_);
  return sentSizes_;
}

bool FakeSockets::waitForSent(std::size_t count, int milliseconds) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return sent_.size() >= count; });
}

int FakeSockets::openSocket(int& error) {
  std::lock_guard lock(mutex_);
  calls.push_back("socket");
  if (failSocket) {
    error = 24;
    return -1;
  }
  return 7;
}

bool FakeSockets::setSendBufferSize(int, int bytes) {
  std::lock_guard lock(mutex_);
  calls.push_back("sndbuf " + std::to_string(bytes));
  return !failSendBuffer;
}

bool FakeSockets::setReceiveBufferSize(int, int bytes) {
  std::lock_guard lock(mutex_);
  calls.push_back("rcvbuf " + std::to_string(bytes));
  return !failReceiveBuffer;
}

void FakeSockets::unlinkPath(const std::string& path) {
  std::lock_guard lock(mutex_);
  calls.push_back("unlink " + path);
}

bool FakeSockets::bindPath(int, const std::string& path, int& error) {
  std::lock_guard lock(mutex_);
  calls.push_back("bind " + path);
  if (failBind) {
    error = 2;
    return false;
  }
  return true;
}

void FakeSockets::changeMode(const std::string& path, unsigned mode) {
  std::lock_guard lock(mutex_);
  calls.push_back("chmod " + path);
  modeSet = mode;
}

long FakeSockets::receive(int, char* buffer, std::size_t size) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return closed_ || !incoming_.empty(); });
  if (closed_) return 0;
  std::string datagram = std::move(incoming_.front());
  incoming_.pop_front();
  if (datagram == kEndMarker) return 0;
  const std::size_t n = std::min(size, datagram.size());
  std::memcpy(buffer, datagram.data(), n);
  return static_cast<long>(n);
}

long FakeSockets::sendTo(int, const char* buffer, std::size_t size, const std::string&, int& error) {
  std::lock_guard lock(mutex_);
  if (sendError) {
    error = sendError;
    return -1;
  }
  sent_.emplace_back(buffer, ::strnlen(buffer, size));
  sentSizes_.push_back(size);
  changed_.notify_all();
  return static_cast<long>(size);
}

void FakeSockets::shutdownAndClose(int) {
  std::lock_guard lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

}  // namespace halvex::test
