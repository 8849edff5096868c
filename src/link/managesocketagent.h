#pragma once
// The request channel's socket owner: opens the agent's datagram socket, reads 128-byte requests
// for ever, sends 128-byte replies to the daemon's socket, and answers the two process look-ups.

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/ProcessControl.h"
#include "platform/ProcessInfo.h"
#include "platform/UnixDatagramSockets.h"
#include "runtime/LineLogger.h"

namespace halvex {

class BridgeClassHalvex;

class managesocketagent {
 public:
  static constexpr std::size_t kDatagramSize = 128;
  static constexpr std::size_t kCompanionSize = 10;
  static constexpr int kSocketBufferSize = 0xFFFF;
  static constexpr unsigned kSocketMode = 0777;

  // Every request read goes to `bridge`.
  managesocketagent(UnixDatagramSockets& sockets, const ProcessInfo& processes, ProcessControl& process,
                    const LineLogger& logger, BridgeClassHalvex& bridge, std::string agentPath, std::string daemonPath);

  // Opens the channel, then reads until a receive gives 0 or less. Runs on a background thread.
  void openandreadsocketagent();
  // The two halves: the socket bound (the process ends when it cannot be), then the reading. The
  // daemon is told an agent may be asked only once its socket is bound.
  void opensocketagent();
  void readsocketagent();
  // Sends one reply from any thread. Errors are printed, never retried.
  void sendsocketagent(const std::string& text);
  // The executable path of a process, or "error".
  std::string infoprocess(std::int32_t pid) const;
  // The effective user id of a process, or -1.
  std::int32_t infoRootProcess(std::int32_t pid) const;

  // True once the socket is bound and replies can go out.
  bool isOpen() const { return open_.load(); }
  // Ends the reader: the agent itself never closes the channel; tests and benchmarks do.
  void closeChannel();

 private:
  UnixDatagramSockets& sockets_;
  const ProcessInfo& processes_;
  ProcessControl& process_;
  const LineLogger& logger_;
  BridgeClassHalvex& myBridgeClassHalvex;
  const std::string agentAddress_;
  const std::string daemonAddress_;
  std::atomic<int> fd_{-1};
  std::atomic<bool> open_{false};

  // A datagram that fills all 128 bytes is ended by the companion's first byte, which stays 0.
  struct {
    char recvBuffer[kDatagramSize];
    char companion[kCompanionSize];
  } receive_{};
};

}  // namespace halvex
