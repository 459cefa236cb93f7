// Loopback ports for the servers tests start: one nothing listens on, and
// whether one takes connections yet.
#ifndef INETMGR_TESTS_LOOPBACK_PORT_H
#define INETMGR_TESTS_LOOPBACK_PORT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace inetmgr_test {

inline sockaddr_in loopback(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

// A port on 127.0.0.1 that nothing listens on at the moment of the call; 0
// when none could be had.
inline unsigned short freeLoopbackPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  unsigned short port = 0;
  if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    port = ntohs(address.sin_port);
  }
  if (fd >= 0) ::close(fd);
  return port;
}

inline bool acceptsConnections(unsigned short port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  const bool connected = fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (fd >= 0) ::close(fd);
  return connected;
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_LOOPBACK_PORT_H
