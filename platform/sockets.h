#ifndef PLATFORM_SOCKETS_H_
#define PLATFORM_SOCKETS_H_

#include <sys/socket.h>

#include <cstddef>

namespace orvane::platform {

// The socket calls, behind an interface so that tests can make them fail. Results and errno are
// those of the system calls. Nothing here blocks: sockets are non-blocking (and close-on-exec), so
// a full queue of the peer makes a send fail.
class Sockets {
 public:
  virtual ~Sockets() = default;

  virtual int Socket(int domain, int type, int protocol);
  virtual int Bind(int fd, const sockaddr* address, socklen_t length);
  virtual int Connect(int fd, const sockaddr* address, socklen_t length);
  virtual ssize_t Send(int fd, const void* data, std::size_t length, int flags);
  virtual int Close(int fd);
};

}  // namespace orvane::platform

#endif  // PLATFORM_SOCKETS_H_
