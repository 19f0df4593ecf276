#include "platform/netlink/netlink_kernel.h"

#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <utility>

namespace orvane::platform {
namespace {

struct SocketCloser {
  void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};
using MnlSocket = std::unique_ptr<mnl_socket, SocketCloser>;

class KernelSocket final : public NetlinkSocket {
 public:
  explicit KernelSocket(MnlSocket socket) : socket_(std::move(socket)) {}

  int fd() const override { return mnl_socket_get_fd(socket_.get()); }
  std::uint32_t port() const override { return mnl_socket_get_portid(socket_.get()); }

 private:
  MnlSocket socket_;
};

// The socket works without these options, so failures are ignored: older kernels lack the last two,
// and only root may exceed the system's queue limit.
void SetOptions(const mnl_socket* socket) {
  const int fd = mnl_socket_get_fd(socket);
  const int size = NetlinkKernel::kQueueSize;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof(size)) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
  }
  // Errors then have a text, and do not copy the whole request.
  int enabled = 1;
  mnl_socket_setsockopt(socket, NETLINK_EXT_ACK, &enabled, sizeof(enabled));
  mnl_socket_setsockopt(socket, NETLINK_CAP_ACK, &enabled, sizeof(enabled));
}

}  // namespace

std::unique_ptr<NetlinkSocket> NetlinkKernel::OpenSocket() {
  MnlSocket socket(mnl_socket_open2(NETLINK_GENERIC, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (socket == nullptr) return nullptr;
  SetOptions(socket.get());
  if (mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) != 0) return nullptr;
  return std::make_unique<KernelSocket>(std::move(socket));
}

std::uint32_t NetlinkKernel::GetInterfaceIndex(const std::string& name) {
  return if_nametoindex(name.c_str());
}

}  // namespace orvane::platform
