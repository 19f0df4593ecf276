#include "platform/netlink/kernel_transport.h"

#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <utility>

namespace orvane::platform {
namespace {

// None of these is needed for the socket to work, so their results don't matter: a kernel may be
// too old for the last two, and only root may go beyond the system's limit of the queue.
void SetOptions(const mnl_socket* socket) {
  const int fd = mnl_socket_get_fd(socket);
  int size = KernelTransport::kQueueSize;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof(size)) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
  }
  // An error then has a text with it, and not the whole request.
  int enabled = 1;
  mnl_socket_setsockopt(socket, NETLINK_EXT_ACK, &enabled, sizeof(enabled));
  mnl_socket_setsockopt(socket, NETLINK_CAP_ACK, &enabled, sizeof(enabled));
}

}  // namespace

void KernelTransport::Closer::operator()(mnl_socket* socket) const { mnl_socket_close(socket); }

bool KernelTransport::Open() {
  std::unique_ptr<mnl_socket, Closer> opened(
      mnl_socket_open2(NETLINK_GENERIC, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (opened == nullptr) return false;
  SetOptions(opened.get());
  if (mnl_socket_bind(opened.get(), 0, MNL_SOCKET_AUTOPID) != 0) return false;
  socket_ = std::move(opened);
  return true;
}

int KernelTransport::fd() const {
  return socket_ == nullptr ? -1 : mnl_socket_get_fd(socket_.get());
}

std::uint32_t KernelTransport::port() const {
  return socket_ == nullptr ? 0 : mnl_socket_get_portid(socket_.get());
}

}  // namespace orvane::platform
