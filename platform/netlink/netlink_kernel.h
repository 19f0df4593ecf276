#ifndef PLATFORM_NETLINK_NETLINK_KERNEL_H_
#define PLATFORM_NETLINK_NETLINK_KERNEL_H_

#include <cstdint>
#include <memory>
#include <string>

#include "platform/netlink/netlink_socket.h"

namespace orvane::platform {

// The kernel's netlink interface. Tests override it with a simulated kernel.
class NetlinkKernel {
 public:
  // Size of a socket's receive queue, in bytes. A station takes about half a kilobyte.
  static constexpr int kQueueSize = 1024 * 1024;

  virtual ~NetlinkKernel() = default;

  // Opens a generic netlink socket. On failure returns null, with errno set.
  virtual std::unique_ptr<NetlinkSocket> OpenSocket();

  // Returns the index of a network interface, or 0 if there is none of that name.
  virtual std::uint32_t GetInterfaceIndex(const std::string& name);
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_KERNEL_H_
