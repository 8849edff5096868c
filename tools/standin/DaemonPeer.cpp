#include "standin/DaemonPeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <thread>

namespace halvex::standin {
namespace {

using Clock = std::chrono::steady_clock;

sockaddr_un addressFor(const std::string& path) {
  sockaddr_un address;
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), 103);
  return address;
}

}  // namespace

void makeSocketDirectories(const std::string& socketPath) {
  std::error_code ec;
  const auto parent = std::filesystem::path(socketPath).parent_path();
  std::filesystem::create_directories(parent, ec);
  ::chmod(parent.c_str(), 0777);
}

bool waitForFile(const std::string& path, std::chrono::milliseconds timeout) {
  const auto end = Clock::now() + timeout;
  struct stat st {};
  while (::stat(path.c_str(), &st) != 0) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

DaemonPeer::DaemonPeer(std::string daemonPath, std::string agentPath)
    : daemonPath_(std::move(daemonPath)), agentPath_(std::move(agentPath)) {
  makeSocketDirectories(daemonPath_);
  makeSocketDirectories(agentPath_);
  fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
  int size = 0xFFFF;
  ::setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
  ::unlink(daemonPath_.c_str());
  const sockaddr_un address = addressFor(daemonPath_);
  if (::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    ::close(fd_);
    throw std::runtime_error("bind " + daemonPath_ + ": " + std::strerror(error));
  }
  ::chmod(daemonPath_.c_str(), 0777);
  struct stat st {};
  if (::stat(daemonPath_.c_str(), &st) == 0) {
    device_ = st.st_dev;
    inode_ = st.st_ino;
  }
}

DaemonPeer::~DaemonPeer() {
  if (fd_ >= 0) ::close(fd_);
  // Another stand-in may have bound the path since: its socket stays.
  struct stat st {};
  if (::stat(daemonPath_.c_str(), &st) == 0 && st.st_dev == device_ && st.st_ino == inode_)
    ::unlink(daemonPath_.c_str());
}

std::string connectionEventRecord(const std::string& line, std::uint32_t code) {
  std::string record(156, '\0');
  std::memcpy(record.data() + 20, &code, sizeof code);
  line.copy(record.data() + 24, 127);
  return record;
}

bool ConnectionLogger::handle(const std::string& name) {
  if (name != "loadKext" && name != "unloadKext") return false;
  {
    std::lock_guard lock(mutex_);
    const bool loaded = name == "loadKext";
    if (loaded_ == loaded) return false;
    loaded_ = loaded;
  }
  changed_.notify_all();
  return true;
}

bool ConnectionLogger::loaded() const {
  std::lock_guard lock(mutex_);
  return loaded_;
}

bool ConnectionLogger::waitLoaded(std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return loaded_; });
}

bool DaemonPeer::sendRawTo(const std::string& path, const std::string& bytes, std::chrono::milliseconds timeout) {
  const sockaddr_un address = addressFor(path);
  const auto end = Clock::now() + timeout;
  for (;;) {
    const ssize_t n = ::sendto(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT,
                               reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (n >= 0) return true;
    if (errno == EINTR) continue;
    // A full queue is a slow reader, a refused or missing socket one not bound yet: wait, within
    // the bound.
    const bool later = errno == EAGAIN || errno == EWOULDBLOCK || errno == ECONNREFUSED || errno == ENOENT;
    if (!later || Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

bool DaemonPeer::sendRaw(const std::string& bytes) {
  const sockaddr_un address = addressFor(agentPath_);
  for (;;) {
    const ssize_t n =
        ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (n >= 0) return true;
    if (errno == EINTR) continue;
    return false;
  }
}

bool DaemonPeer::sendLine(const std::string& line) {
  std::string datagram(128, '\0');
  std::memcpy(datagram.data(), line.data(), std::min<std::size_t>(line.size(), 128));
  return sendRaw(datagram);
}

DaemonPeer::Sent DaemonPeer::trySendLine(const std::string& line) {
  // Zero-padded to the 128 bytes of a request, as sendLine sends it.
  std::string datagram(128, '\0');
  line.copy(datagram.data(), datagram.size());
  const sockaddr_un address = addressFor(agentPath_);
  for (;;) {
    const ssize_t n = ::sendto(fd_, datagram.data(), datagram.size(), MSG_DONTWAIT,
                               reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (n >= 0) return Sent::yes;
    if (errno == EINTR) continue;
    return errno == EAGAIN || errno == EWOULDBLOCK ? Sent::wouldBlock : Sent::failed;
  }
}

std::optional<std::string> DaemonPeer::receive(std::chrono::milliseconds timeout) {
  pollfd p{fd_, POLLIN, 0};
  const int ready = ::poll(&p, 1, static_cast<int>(timeout.count()));
  if (ready <= 0) return std::nullopt;
  char buffer[129] = {};
  const ssize_t n = ::recv(fd_, buffer, 128, 0);
  if (n < 0) return std::nullopt;
  return std::string(buffer, ::strnlen(buffer, static_cast<std::size_t>(n)));
}

std::string DaemonPeer::requestOfReply(const std::string& reply) {
  std::size_t end = reply.size();
  for (int tokens = 0; tokens < 3; ++tokens) {
    const auto blank = reply.rfind(' ', end == 0 ? 0 : end - 1);
    if (blank == std::string::npos) return reply;
    end = blank;
  }
  return reply.substr(0, end);
}

std::vector<Exchange> DaemonPeer::exchange(const std::vector<std::string>& lines, std::size_t window,
                                           std::chrono::milliseconds timeout,
                                           const std::function<void(const Exchange&)>& onReply) {
  std::vector<Exchange> results(lines.size());
  // Lines may repeat: each echoed line settles the oldest outstanding request with that text.
  std::map<std::string, std::deque<std::pair<std::size_t, Clock::time_point>>> outstanding;
  std::size_t inFlight = 0, next = 0;
  if (window == 0) window = 1;
  auto lastProgress = Clock::now();
  while (next < lines.size() || inFlight > 0) {
    while (next < lines.size() && inFlight < window) {
      results[next].request = lines[next];
      outstanding[lines[next]].emplace_back(next, Clock::now());
      sendLine(lines[next]);
      ++next;
      ++inFlight;
    }
    auto reply = receive(std::chrono::milliseconds(50));
    const auto now = Clock::now();
    if (!reply) {
      if (now - lastProgress > timeout) {
        // Give up on what is outstanding: those requests stay without a reply.
        outstanding.clear();
        inFlight = 0;
        lastProgress = now;
      }
      continue;
    }
    lastProgress = now;
    auto it = outstanding.find(requestOfReply(*reply));
    if (it == outstanding.end() || it->second.empty()) continue;
    auto [index, sentAt] = it->second.front();
    it->second.pop_front();
    results[index].reply = *reply;
    results[index].latency = now - sentAt;
    --inFlight;
    if (onReply) onReply(results[index]);
  }
  return results;
}

}  // namespace halvex::standin
