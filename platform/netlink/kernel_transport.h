#ifndef PLATFORM_NETLINK_KERNEL_TRANSPORT_H_
#define PLATFORM_NETLINK_KERNEL_TRANSPORT_H_

#include <cstdint>
#include <memory>

#include "platform/netlink/socket_transport.h"

struct mnl_socket;

namespace orvane::platform {

// The real kernel's generic netlink.
class KernelTransport final : public SocketTransport {
 public:
  // For the replies that nobody has read yet. A station takes about half a kilobyte.
  static constexpr int kQueueSize = 1024 * 1024;

  bool Open() override;
  int fd() const override;
  std::uint32_t port() const override;

 private:
  struct Closer {
    void operator()(mnl_socket* socket) const;
  };

  std::unique_ptr<mnl_socket, Closer> socket_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_KERNEL_TRANSPORT_H_
