#pragma once
// Can a TCP connection to a host and port be opened? A reachability test only: nothing is sent.

#include <chrono>
#include <cstdint>
#include <string>

namespace halvex {

class TcpProbe {
 public:
  virtual ~TcpProbe() = default;
  // Blocks for at most about `timeout` (name resolution included where the resolver allows it).
  virtual bool canConnect(const std::string& host, std::uint16_t port, std::chrono::milliseconds timeout) = 0;
};

}  // namespace halvex
