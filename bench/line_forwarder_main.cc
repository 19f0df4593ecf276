// Forwards the events of a control socket to one client: the minimum cost of an event for a process
// between hostapd and the daemon. usage: line_forwarder SOCKET SERVED_SOCKET

#include <poll.h>

#include <string_view>

#include "bench/floor_socket.h"
#include "platform/logging.h"
#include "testbed/control_socket.h"

namespace {

using orvane::testbed::ControlSocket;
using orvane::testbed::PeerAddress;

// Waits for a client's ATTACH and answers it.
PeerAddress TakeClient(ControlSocket& served) {
  pollfd watched = {.fd = served.fd(), .events = POLLIN, .revents = 0};
  CHECK(poll(&watched, 1, -1) == 1);
  const PeerAddress client = served.Receive()->sender;
  CHECK(served.Send(client, "OK\n") == ControlSocket::SendResult::kSent);
  return client;
}

}  // namespace

int main(int argc, char** argv) {
  CHECK(argc == 3) << "usage: line_forwarder SOCKET SERVED_SOCKET";
  orvane::bench::FloorSocket socket(argv[1]);
  ControlSocket served(argv[2]);
  const orvane::testbed::Failure failure = served.Open();
  CHECK(!failure.has_value()) << *failure;
  const PeerAddress client = TakeClient(served);
  for (;;) {
    const std::string_view line = socket.Next();
    // The answer to ATTACH is no event.
    if (line.starts_with('<')) served.Send(client, line);
  }
}
