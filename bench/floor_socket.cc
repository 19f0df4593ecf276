#include "bench/floor_socket.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "platform/logging.h"

namespace orvane::bench {
namespace {

using platform::RetryOnEintr;

constexpr std::string_view kAttach = "ATTACH";

sockaddr_un MakeAddress(std::string_view name, std::size_t at) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  CHECK(at + name.size() < sizeof(address.sun_path));
  name.copy(address.sun_path + at, name.size());
  return address;
}

}  // namespace

FloorSocket::FloorSocket(std::string_view path)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  const int fd = socket_.get();
  const sockaddr_un own = MakeAddress("floor-" + std::to_string(getpid()), 1);
  const sockaddr_un peer = MakeAddress(path, 0);
  CHECK(bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof(own)) == 0);
  CHECK(connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0);
  CHECK(send(fd, kAttach.data(), kAttach.size(), 0) > 0);
  epoll_event watched = {.events = EPOLLIN, .data = {}};
  CHECK(epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &watched) == 0);
}

std::string_view FloorSocket::Next() {
  for (;;) {
    const ssize_t length = recv(socket_.get(), buffer_.data(), buffer_.size(), 0);
    if (length >= 0) return {buffer_.data(), static_cast<std::size_t>(length)};
    epoll_event ready;
    CHECK(RetryOnEintr([&] { return epoll_wait(epoll_.get(), &ready, 1, -1); }) == 1);
  }
}

}  // namespace orvane::bench
