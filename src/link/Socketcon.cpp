#include "link/Socketcon.h"

#include <cstring>

#include "link/BridgeClassHalvex.h"
#include "link/ConnectionEvents.h"

namespace halvex {

Socketcon::Socketcon(UnixDatagramSockets& sockets, const LineLogger& logger, BridgeClassHalvex& bridge,
                     std::string eventPath)
    : sockets_(sockets), logger_(logger), myBridgeClassHalvex(bridge), eventAddress_(std::move(eventPath)) {}

int Socketcon::buildsocketcon() {
  {
    std::lock_guard lock(mutex_);
    if (started_ || closed_) return 0;
    started_ = true;
  }
  int error = 0;
  const int fd = sockets_.openSocket(error);
  if (fd < 0) {
    logger_.log(std::string("[HALVEX AGENT] no connection events: socket: ") + std::strerror(error));
    return 0;
  }
  // Made 0600 from the start and again after the bind, a stale file of an earlier run gone first.
  sockets_.presetMode(fd, kSocketMode);
  sockets_.unlinkPath(eventAddress_);
  if (!sockets_.bindPath(fd, eventAddress_, error)) {
    logger_.log("[HALVEX AGENT] no connection events: bind " + eventAddress_ + ": " + std::strerror(error));
    sockets_.closeSocket(fd);
    return 0;
  }
  sockets_.changeMode(eventAddress_, kSocketMode);
  {
    std::lock_guard lock(mutex_);
    if (closed_) {
      // Closed while it was being opened: it never reads.
      sockets_.closeSocket(fd);
      return 0;
    }
    fd_ = fd;
    reading_ = true;
    readerThread_ = std::this_thread::get_id();
  }
  readRecords(fd);
  {
    std::lock_guard lock(mutex_);
    reading_ = false;
  }
  readerLeft_.notify_all();
  return 0;
}

void Socketcon::readRecords(int fd) {
  char record[connectionevents::kRecordSize];
  for (;;) {
    // Cleared before each read, so that no byte of an earlier record shows in a shorter one.
    std::memset(record, 0, sizeof record);
    const long length = sockets_.receive(fd, record, sizeof record);
    if (length <= 0) return;
    if (auto line = connectionLineOfRecord(record, static_cast<std::size_t>(length)))
      myBridgeClassHalvex.readConnections(*line);
  }
}

void Socketcon::closesocketcon() {
  int fd = -1;
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
    std::swap(fd, fd_);
  }
  if (fd < 0) return;
  int error = 0;
  if (sockets_.shutdownSocket(fd, error)) {
    // The reader sees the end at its next receive. The descriptor is closed only once it has left,
    // so that the number cannot name another file under a receive of the reader's.
    std::unique_lock lock(mutex_);
    readerLeft_.wait(lock, [&] { return !reading_ || readerThread_ == std::this_thread::get_id(); });
  } else if (!sockets_.isNotConnected(error)) {
    logger_.print("shutdown");
    return;
  }
  if (!sockets_.closeSocket(fd)) logger_.print("close");
}

}  // namespace halvex
