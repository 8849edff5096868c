#pragma once
// A TCP connection attempt with a time limit: getaddrinfo, a non-blocking connect to each address
// in turn, poll for the outcome, close at once.

#include "platform/TcpProbe.h"

namespace halvex {

class LinuxTcpProbe final : public TcpProbe {
 public:
  bool canConnect(const std::string& host, std::uint16_t port, std::chrono::milliseconds timeout) override;
};

}  // namespace halvex
