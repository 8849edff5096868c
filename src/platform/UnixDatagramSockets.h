#pragma once
// The socket operations of the request channel and of the connection-event socket, one call each,
// so that each reader's order of steps and its handling of every failure live in the core and can
// be tested.

#include <cstddef>
#include <string>

namespace halvex {

class UnixDatagramSockets {
 public:
  virtual ~UnixDatagramSockets() = default;
  // A Unix datagram socket, or -1 with `error` set.
  virtual int openSocket(int& error) = 0;
  virtual bool setSendBufferSize(int fd, int bytes) = 0;
  virtual bool setReceiveBufferSize(int fd, int bytes) = 0;
  virtual void unlinkPath(const std::string& path) = 0;
  // The address is zero-filled and names the path (copied with a bound of 103 characters); the
  // kernel is given 106 bytes of it.
  virtual bool bindPath(int fd, const std::string& path, int& error) = 0;
  virtual void changeMode(const std::string& path, unsigned mode) = 0;
  // Gives the file that a later bind of `fd` makes this mode from its creation on, so that no
  // other user can write to the socket before changeMode; false where the system refuses.
  virtual bool presetMode(int fd, unsigned mode) = 0;
  // Blocks for one datagram of up to `size` bytes; returns its length, 0 or -1.
  virtual long receive(int fd, char* buffer, std::size_t size) = 0;
  // Sends `size` bytes to the socket at `path`; -1 with `error` set on failure.
  virtual long sendTo(int fd, const char* buffer, std::size_t size, const std::string& path, int& error) = 0;
  // True when the error means the kernel had no buffer room for the datagram.
  virtual bool isNoBufferSpace(int error) const = 0;
  // Ends a blocked receive (the reader then sees 0) and closes the socket.
  virtual void shutdownAndClose(int fd) = 0;
  // The same two steps apart, each telling its failure: the shutdown with its error number.
  virtual bool shutdownSocket(int fd, int& error) = 0;
  virtual bool closeSocket(int fd) = 0;
  // True when a failed shutdown only means that the socket was not connected or not fit for it.
  virtual bool isNotConnected(int error) const = 0;
};

}  // namespace halvex
