#pragma once
// The daemon's side of the request channel, for tests, benchmarks and demos: binds the daemon's
// socket, sends 128-byte request lines to the agent's socket and collects the replies, matching
// each reply to its request by the echoed line.

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace halvex::standin {

struct Exchange {
  std::string request;
  std::optional<std::string> reply;  // empty when none came in time
  std::chrono::nanoseconds latency{0};
};

class DaemonPeer {
 public:
  // Makes the socket directories (as the installation would) and binds `daemonPath`.
  DaemonPeer(std::string daemonPath, std::string agentPath);
  ~DaemonPeer();
  DaemonPeer(const DaemonPeer&) = delete;
  DaemonPeer& operator=(const DaemonPeer&) = delete;

  // One raw datagram of exactly `bytes` (no padding added); false when the send failed.
  bool sendRaw(const std::string& bytes);
  // A line in a zero-padded 128-byte datagram.
  bool sendLine(const std::string& line);
  enum class Sent { yes, wouldBlock, failed };
  // sendLine that never waits: wouldBlock when the agent's socket takes nothing more just now.
  Sent trySendLine(const std::string& line);
  // The next datagram's text (up to its first NUL), or nothing after `timeout`.
  std::optional<std::string> receive(std::chrono::milliseconds timeout);

  // Sends every line, keeping at most `window` requests unanswered, and waits for their replies.
  // A line whose reply does not come within `timeout` gets none; the run goes on.
  std::vector<Exchange> exchange(const std::vector<std::string>& lines, std::size_t window,
                                 std::chrono::milliseconds timeout,
                                 const std::function<void(const Exchange&)>& onReply = {});

  // The request line a reply echoes: the reply less its last three blank-separated tokens.
  static std::string requestOfReply(const std::string& reply);

  const std::string& daemonPath() const { return daemonPath_; }
  const std::string& agentPath() const { return agentPath_; }

 private:
  std::string daemonPath_;
  std::string agentPath_;
  int fd_ = -1;
};

// Makes directories for a path's parents, mode 0777, like the installation's socket folders.
void makeSocketDirectories(const std::string& socketPath);
// Waits until a file exists at `path`.
bool waitForFile(const std::string& path, std::chrono::milliseconds timeout);

}  // namespace halvex::standin
