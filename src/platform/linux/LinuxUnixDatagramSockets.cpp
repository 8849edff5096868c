#include "platform/linux/LinuxUnixDatagramSockets.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace halvex {
namespace {

// Both ends name their sockets the same way: a zero-filled address with the path copied with a
// bound of 103 characters, of which the kernel is given 106 bytes (2 header bytes and a 104-byte
// path field).
constexpr socklen_t kAddressLength = 106;

sockaddr_un addressFor(const std::string& path) {
  sockaddr_un address;
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), 103);
  return address;
}

}  // namespace

int LinuxUnixDatagramSockets::openSocket(int& error) {
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  error = fd < 0 ? errno : 0;
  return fd;
}

bool LinuxUnixDatagramSockets::setSendBufferSize(int fd, int bytes) {
  return ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes) == 0;
}

bool LinuxUnixDatagramSockets::setReceiveBufferSize(int fd, int bytes) {
  return ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes) == 0;
}

void LinuxUnixDatagramSockets::unlinkPath(const std::string& path) { ::unlink(path.c_str()); }

bool LinuxUnixDatagramSockets::bindPath(int fd, const std::string& path, int& error) {
  const sockaddr_un address = addressFor(path);
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), kAddressLength) == 0) return true;
  error = errno;
  return false;
}

void LinuxUnixDatagramSockets::changeMode(const std::string& path, unsigned mode) {
  ::chmod(path.c_str(), static_cast<mode_t>(mode));
}

bool LinuxUnixDatagramSockets::presetMode(int fd, unsigned mode) {
  // A Unix socket's file takes the mode of the socket's own inode, less the umask, when bind makes
  // it.
  return ::fchmod(fd, static_cast<mode_t>(mode)) == 0;
}

long LinuxUnixDatagramSockets::receive(int fd, char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t n = ::recv(fd, buffer, size, MSG_WAITALL);
    // A signal delivered to the reader thread is no reason to stop reading.
    if (n < 0 && errno == EINTR) continue;
    return static_cast<long>(n);
  }
}

long LinuxUnixDatagramSockets::sendTo(int fd, const char* buffer, std::size_t size, const std::string& path,
                                      int& error) {
  const sockaddr_un address = addressFor(path);
  const ssize_t n = ::sendto(fd, buffer, size, 0, reinterpret_cast<const sockaddr*>(&address), kAddressLength);
  error = n < 0 ? errno : 0;
  return static_cast<long>(n);
}

bool LinuxUnixDatagramSockets::isNoBufferSpace(int error) const { return error == ENOBUFS; }

void LinuxUnixDatagramSockets::shutdownAndClose(int fd) {
  ::shutdown(fd, SHUT_RDWR);
  ::close(fd);
}

bool LinuxUnixDatagramSockets::shutdownSocket(int fd, int& error) {
  if (::shutdown(fd, SHUT_RDWR) == 0) return true;
  error = errno;
  return false;
}

bool LinuxUnixDatagramSockets::closeSocket(int fd) { return ::close(fd) == 0; }

bool LinuxUnixDatagramSockets::isNotConnected(int error) const { return error == ENOTCONN || error == EINVAL; }

}  // namespace halvex
