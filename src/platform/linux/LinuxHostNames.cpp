#include "platform/linux/LinuxHostNames.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>

namespace halvex {

std::vector<std::string> LinuxHostNames::namesForAddress(const std::string& address) const {
  sockaddr_storage storage{};
  socklen_t length = 0;
  auto* v4 = reinterpret_cast<sockaddr_in*>(&storage);
  auto* v6 = reinterpret_cast<sockaddr_in6*>(&storage);
  if (::inet_pton(AF_INET, address.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    length = sizeof(sockaddr_in);
  } else if (::inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    length = sizeof(sockaddr_in6);
  } else {
    return {};
  }
  char host[NI_MAXHOST];
  if (::getnameinfo(reinterpret_cast<sockaddr*>(&storage), length, host, sizeof host, nullptr, 0, NI_NAMEREQD) != 0)
    return {};
  return {std::string(host)};
}

}  // namespace halvex
