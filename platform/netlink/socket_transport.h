#ifndef PLATFORM_NETLINK_SOCKET_TRANSPORT_H_
#define PLATFORM_NETLINK_SOCKET_TRANSPORT_H_

#include <cstdint>
#include <span>
#include <string>

#include "platform/netlink/netlink_transport.h"

namespace orvane::platform {

// Datagrams over a socket: a netlink one, of which only what the kernel sends is taken, or one of a
// socket pair, whose other end is the only one that can send.
class SocketTransport : public NetlinkTransport {
 public:
  bool Send(std::span<const std::uint8_t> datagram) override;
  ReceiveResult Receive(std::span<std::uint8_t> buffer) override;
  std::uint32_t GetInterfaceIndex(const std::string& name) override;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_SOCKET_TRANSPORT_H_
