#pragma once
// The connection-event reader: binds the agent's second datagram socket, where the daemon's
// connection logger writes one record per connection, and hands each connection line to the
// bridge, which posts it on the distributed centre. Only the agent's user (and root) may write to
// the socket: anyone else could feed the log false connections.

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "platform/UnixDatagramSockets.h"
#include "runtime/LineLogger.h"

namespace halvex {

class BridgeClassHalvex;

class Socketcon {
 public:
  static constexpr unsigned kSocketMode = 0600;

  Socketcon(UnixDatagramSockets& sockets, const LineLogger& logger, BridgeClassHalvex& bridge, std::string eventPath);

  // Opens the socket and reads until a receive gives 0 or less; then the log stays empty for the
  // life of the process. A socket or bind that fails leaves one log line and no reader. Runs once,
  // on a background queue; always returns 0.
  int buildsocketcon();
  // Shuts the socket down, which ends a blocked reader, and closes it once the reader has left.
  // Prints "shutdown" or "close" when that step fails. A reader not yet built never starts.
  void closesocketcon();

 private:
  void readRecords(int fd);

  UnixDatagramSockets& sockets_;
  const LineLogger& logger_;
  BridgeClassHalvex& myBridgeClassHalvex;
  const std::string eventAddress_;

  std::mutex mutex_;
  std::condition_variable readerLeft_;
  int fd_ = -1;
  bool started_ = false;
  bool closed_ = false;
  bool reading_ = false;
  std::thread::id readerThread_;
};

}  // namespace halvex
