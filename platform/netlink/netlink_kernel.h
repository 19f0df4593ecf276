#ifndef PLATFORM_NETLINK_NETLINK_KERNEL_H_
#define PLATFORM_NETLINK_NETLINK_KERNEL_H_

#include <cstdint>
#include <memory>
#include <string>

#include "platform/netlink/netlink_socket.h"

namespace orvane::platform {

// The kernel, as far as netlink needs it. Tests override it to play the kernel.
class NetlinkKernel {
 public:
  // The receive queue of a socket, in bytes. A station takes about half a kilobyte.
  static constexpr int kQueueSize = 1024 * 1024;

  virtual ~NetlinkKernel() = default;

  // Opens a generic netlink socket. Null, with errno set, on failure.
  virtual std::unique_ptr<NetlinkSocket> OpenSocket();

  // The index of a network interface, 0 if there is none of that name.
  virtual std::uint32_t GetInterfaceIndex(const std::string& name);
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_KERNEL_H_
