#include "wavelarkctl/check/hostapd_ping.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>

namespace orvane::wavelarkctl {
namespace {

constexpr std::chrono::milliseconds kPatience(2000);
constexpr std::string_view kPing = "PING";

sockaddr_un MakeAddress(std::string_view name) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::ranges::copy(name, static_cast<char*>(address.sun_path));
  return address;
}

// Binds an address, which hostapd sends its answer to.
bool Connect(int fd, std::string_view path) {
  const sockaddr_un own =
      MakeAddress(std::string(1, '\0') + fmt::format("wavelarkctl-{}", getpid()));
  const sockaddr_un peer = MakeAddress(path);
  return bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof(own)) == 0 &&
         connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0;
}

bool WaitFor(int fd, decltype(pollfd::events) events) {
  pollfd waiting = {.fd = fd, .events = events, .revents = 0};
  const int ready = poll(&waiting, 1, static_cast<int>(kPatience.count()));
  if (ready == 0) errno = ETIMEDOUT;
  return ready > 0;
}

PingResult Failed() { return {.error = errno, .answer = {}}; }

}  // namespace

PingResult PingHostapd(const platform::FilePath& socket_path) {
  const std::string& path = socket_path.native();
  if (path.size() >= sizeof(sockaddr_un::sun_path)) return {.error = ENAMETOOLONG, .answer = {}};
  const platform::ScopedFd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd.is_valid() || !Connect(fd.get(), path)) return Failed();
  if (!WaitFor(fd.get(), POLLOUT)) return Failed();
  if (send(fd.get(), kPing.data(), kPing.size(), 0) < 0) return Failed();
  if (!WaitFor(fd.get(), POLLIN)) return Failed();
  std::array<char, 64> answer = {};
  const ssize_t length = recv(fd.get(), answer.data(), answer.size(), 0);
  if (length < 0) return Failed();
  return {.error = 0, .answer = std::string(answer.data(), static_cast<std::size_t>(length))};
}

}  // namespace orvane::wavelarkctl
