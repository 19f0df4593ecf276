// Attaches to a control socket and handles the events like EventFloor: the minimum cost of an event
// for a process. usage: event_floor SOCKET

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "bench/event_floor.h"
#include "platform/files.h"
#include "platform/logging.h"

namespace {

using orvane::bench::EventFloor;
using orvane::platform::RetryOnEintr;
using orvane::platform::ScopedFd;

constexpr std::string_view kAttach = "ATTACH";

sockaddr_un MakeAddress(std::string_view name, std::size_t at) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  CHECK(at + name.size() < sizeof(address.sun_path));
  name.copy(address.sun_path + at, name.size());
  return address;
}

int Attach(std::string_view path) {
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const sockaddr_un own = MakeAddress("event_floor-" + std::to_string(getpid()), 1);
  const sockaddr_un peer = MakeAddress(path, 0);
  CHECK(bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof(own)) == 0);
  CHECK(connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0);
  CHECK(send(fd, kAttach.data(), kAttach.size(), 0) > 0);
  return fd;
}

void Drain(int fd, const EventFloor& floor, EventFloor::Event* batch) {
  static std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t length = recv(fd, buffer.data(), buffer.size(), 0);
    if (length < 0) return;
    floor.Take({buffer.data(), static_cast<std::size_t>(length)}, batch);
  }
}

}  // namespace

int main(int argc, char** argv) {
  CHECK(argc == 2) << "usage: event_floor SOCKET";
  const ScopedFd fd(Attach(argv[1]));
  const ScopedFd epoll(epoll_create1(EPOLL_CLOEXEC));
  epoll_event watched = {.events = EPOLLIN, .data = {}};
  CHECK(epoll_ctl(epoll.get(), EPOLL_CTL_ADD, fd.get(), &watched) == 0);
  const EventFloor floor("a salt of the benchmark's");
  EventFloor::Event batch;
  for (;;) {
    epoll_event ready;
    CHECK(RetryOnEintr([&] { return epoll_wait(epoll.get(), &ready, 1, -1); }) == 1);
    Drain(fd.get(), floor, &batch);
  }
}
