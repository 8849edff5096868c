#include "link/managesocketagent.h"

#include <cstring>

#include "link/BridgeClassHalvex.h"

namespace halvex {

managesocketagent::managesocketagent(UnixDatagramSockets& sockets, const ProcessInfo& processes,
                                     ProcessControl& process, const LineLogger& logger, BridgeClassHalvex& bridge,
                                     std::string agentPath, std::string daemonPath)
    : sockets_(sockets),
      processes_(processes),
      process_(process),
      logger_(logger),
      myBridgeClassHalvex(bridge),
      agentAddress_(std::move(agentPath)),
      daemonAddress_(std::move(daemonPath)) {}

void managesocketagent::openandreadsocketagent() {
  opensocketagent();
  readsocketagent();
}

void managesocketagent::opensocketagent() {
  int error = 0;
  const int fd = sockets_.openSocket(error);
  if (fd < 0) {
    logger_.print("socket");
    process_.exitProcess(1);
  }
  if (!sockets_.setSendBufferSize(fd, kSocketBufferSize)) logger_.print("Error setsockopt");
  if (!sockets_.setReceiveBufferSize(fd, kSocketBufferSize)) logger_.print("Error setsockopt");

  // A stale socket of an earlier run goes; the directory is the installation's, never ours.
  sockets_.unlinkPath(agentAddress_);
  if (!sockets_.bindPath(fd, agentAddress_, error)) {
    logger_.log(std::string("bind: ") + std::strerror(error));
    process_.exitProcess(1);
  }
  sockets_.changeMode(agentAddress_, kSocketMode);
  fd_ = fd;
  open_ = true;
}

void managesocketagent::readsocketagent() {
  const int fd = fd_;
  receive_.companion[0] = '\0';
  while (sockets_.receive(fd, receive_.recvBuffer, kDatagramSize) > 0) {
    // The text is the bytes up to the first NUL; the buffer is not cleared between datagrams.
    const std::string line(receive_.recvBuffer, ::strnlen(receive_.recvBuffer, sizeof receive_));
    myBridgeClassHalvex.readRequest(line);
  }
}

void managesocketagent::sendsocketagent(const std::string& text) {
  if (text.size() >= kDatagramSize) {
    process_.fatal("sendsocketagent: a reply of " + std::to_string(text.size()) +
                   " bytes does not fit a 128-byte datagram: " + text);
  }
  // Zero-filled so that no stale stack bytes travel after the line's NUL.
  char buffer[kDatagramSize] = {};
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  int error = 0;
  if (sockets_.sendTo(fd_.load(), buffer, kDatagramSize, daemonAddress_, error) == -1) {
    if (sockets_.isNoBufferSpace(error)) {
      logger_.printf("errore,%d", error);
    } else {
      logger_.printf("esploso demone o chiuso ?: %i\n", error);
    }
  }
}

std::string managesocketagent::infoprocess(std::int32_t pid) const {
  auto path = processes_.executablePath(pid);
  return path && !path->empty() ? *path : "error";
}

std::int32_t managesocketagent::infoRootProcess(std::int32_t pid) const {
  return processes_.effectiveUid(pid).value_or(-1);
}

void managesocketagent::closeChannel() {
  const int fd = fd_.exchange(-1);
  open_ = false;
  if (fd >= 0) sockets_.shutdownAndClose(fd);
}

}  // namespace halvex
