#pragma once

#include "platform/UnixDatagramSockets.h"

namespace halvex {

class LinuxUnixDatagramSockets final : public UnixDatagramSockets {
 public:
  int openSocket(int& error) override;
  bool setSendBufferSize(int fd, int bytes) override;
  bool setReceiveBufferSize(int fd, int bytes) override;
  void unlinkPath(const std::string& path) override;
  bool bindPath(int fd, const std::string& path, int& error) override;
  void changeMode(const std::string& path, unsigned mode) override;
  bool presetMode(int fd, unsigned mode) override;
  long receive(int fd, char* buffer, std::size_t size) override;
  long sendTo(int fd, const char* buffer, std::size_t size, const std::string& path, int& error) override;
  bool isNoBufferSpace(int error) const override;
  void shutdownAndClose(int fd) override;
  bool shutdownSocket(int fd, int& error) override;
  bool closeSocket(int fd) override;
  bool isNotConnected(int error) const override;
};

}  // namespace halvex
