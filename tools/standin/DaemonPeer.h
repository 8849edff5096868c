#pragma once
// The daemon's side of the request channel, for tests, benchmarks and demos: binds the daemon's
// socket, sends 128-byte request lines to the agent's socket and collects the replies, matching
// each reply to its request by the echoed line. Beside it, the connection logger's side: its state
// as the agent switches it, and the records it writes to the agent's event socket.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
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
  // The same to the socket at `path`, which is given up to `timeout` to be bound and to make room.
  bool sendRawTo(const std::string& path, const std::string& bytes, std::chrono::milliseconds timeout);
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
  // The socket file bound, so that only it is removed at the end, never a later stand-in's.
  unsigned long device_ = 0, inode_ = 0;
};

// One record of the connection-event socket, 156 bytes: five zero words, `code` at offset 20 in
// host byte order, at 24 the line, cut to 127 bytes, then NULs to the end.
std::string connectionEventRecord(const std::string& line, std::uint32_t code = 4242);

// The connection logger as the daemon keeps it: unloaded at start, loaded by the notification
// "loadKext", unloaded by "unloadKext".
class ConnectionLogger {
 public:
  // True when the notification named `name` changed the state.
  bool handle(const std::string& name);
  bool loaded() const;
  // Whether it is loaded, or becomes so within `timeout`.
  bool waitLoaded(std::chrono::milliseconds timeout) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool loaded_ = false;
};

// Makes directories for a path's parents, mode 0777, like the installation's socket folders.
void makeSocketDirectories(const std::string& socketPath);
// Waits until a file exists at `path`.
bool waitForFile(const std::string& path, std::chrono::milliseconds timeout);

}  // namespace halvex::standin
