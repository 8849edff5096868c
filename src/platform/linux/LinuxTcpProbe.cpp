#include "platform/linux/LinuxTcpProbe.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace halvex {

bool LinuxTcpProbe::canConnect(const std::string& host, std::uint16_t port, std::chrono::milliseconds timeout) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + timeout;
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const std::string service = std::to_string(port);
  if (::getaddrinfo(host.c_str(), service.c_str(), &hints, &found) != 0 || found == nullptr) return false;
  bool open = false;
  for (const addrinfo* a = found; a != nullptr && !open; a = a->ai_next) {
    const int fd = ::socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
    if (fd < 0) continue;
    if (::connect(fd, a->ai_addr, a->ai_addrlen) == 0) {
      open = true;
    } else if (errno == EINPROGRESS) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd p{fd, POLLOUT, 0};
      if (left > 0 && ::poll(&p, 1, static_cast<int>(left)) == 1) {
        int error = 0;
        socklen_t length = sizeof error;
        open = ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
      }
    }
    ::close(fd);
    if (Clock::now() >= deadline) break;
  }
  ::freeaddrinfo(found);
  return open;
}

}  // namespace halvex
