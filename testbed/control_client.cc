#include "testbed/control_client.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <vector>

#include "platform/logging.h"
#include "testbed/control_socket.h"

namespace orvane::testbed {
namespace {

constexpr std::size_t kLargestDatagram = 64 * 1024;

}  // namespace

ControlClient::ControlClient(const std::string& name, const platform::FilePath& server)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_un own = UnixAddress(std::string(1, '\0') + fmt::format("{}-{}", getpid(), name));
  const sockaddr_un peer = UnixAddress(server.native());
  CHECK(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&own), sizeof(own)) == 0);
  CHECK(connect(socket_.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0)
      << "Nobody serves " << server.native();
}

void ControlClient::Send(std::string_view command) {
  CHECK(send(socket_.get(), command.data(), command.size(), 0) >= 0);
}

std::string ControlClient::Receive(std::chrono::milliseconds timeout) {
  pollfd watched = {.fd = socket_.get(), .events = POLLIN, .revents = 0};
  const auto wait = [&] { return poll(&watched, 1, static_cast<int>(timeout.count())); };
  if (platform::RetryOnEintr(wait) <= 0) return "";
  std::vector<char> buffer(kLargestDatagram);
  const ssize_t length = recv(socket_.get(), buffer.data(), buffer.size(), 0);
  return length > 0 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : "";
}

std::string ControlClient::Ask(std::string_view command) {
  Send(command);
  return Receive();
}

}  // namespace orvane::testbed
