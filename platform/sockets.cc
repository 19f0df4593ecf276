#include "platform/sockets.h"

#include <unistd.h>

#include "platform/files.h"

namespace orvane::platform {

int Sockets::Socket(int domain, int type, int protocol) {
  return socket(domain, type | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol);
}

int Sockets::Bind(int fd, const sockaddr* address, socklen_t length) {
  return bind(fd, address, length);
}

int Sockets::Connect(int fd, const sockaddr* address, socklen_t length) {
  return RetryOnEintr([&] { return connect(fd, address, length); });
}

ssize_t Sockets::Send(int fd, const void* data, std::size_t length, int flags) {
  return RetryOnEintr([&] { return send(fd, data, length, flags); });
}

// Not repeated after EINTR: Linux has closed the descriptor already.
int Sockets::Close(int fd) { return close(fd); }

}  // namespace orvane::platform
