#ifndef BENCH_FLOOR_SOCKET_H_
#define BENCH_FLOOR_SOCKET_H_

#include <array>
#include <string_view>

#include "platform/files.h"

namespace orvane::bench {

// A client of a control socket for floor programs, with nothing around the system calls. All
// functions abort on failure.
class FloorSocket {
 public:
  // Connects to a control socket and sends ATTACH.
  explicit FloorSocket(std::string_view path);

  // Returns the next datagram, and waits for it with epoll if there is none. The view is valid
  // until the next call.
  std::string_view Next();

 private:
  platform::ScopedFd socket_;
  platform::ScopedFd epoll_;
  std::array<char, 65536> buffer_;
};

}  // namespace orvane::bench

#endif  // BENCH_FLOOR_SOCKET_H_
