#include "platform/netlink/socket_transport.h"

#include <linux/netlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/files.h"

namespace orvane::platform {
namespace {

ReceiveStatus StatusOfError(int error_number) {
  switch (error_number) {
    case EAGAIN:
      return ReceiveStatus::kNothing;
    // A dump that could not be continued shows as an error of the receiving call, too.
    case ENOBUFS:
    case ENOMEM:
      return ReceiveStatus::kLost;
    default:
      return ReceiveStatus::kFailed;
  }
}

}  // namespace

bool SocketTransport::Send(std::span<const std::uint8_t> datagram) {
  // A netlink socket that is connected to nobody sends to the kernel.
  const ssize_t sent = RetryOnEintr(
      [&] { return send(fd(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL); });
  return sent >= 0;
}

ReceiveResult SocketTransport::Receive(std::span<std::uint8_t> buffer) {
  sockaddr_nl sender = {};
  iovec bytes = {buffer.data(), buffer.size()};
  msghdr message = {};
  message.msg_name = &sender;
  message.msg_namelen = sizeof(sender);
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;

  const ssize_t length = RetryOnEintr([&] { return recvmsg(fd(), &message, MSG_DONTWAIT); });
  if (length < 0) return {StatusOfError(errno)};
  const bool is_netlink = message.msg_namelen == sizeof(sender) && sender.nl_family == AF_NETLINK;
  if (length == 0 && !is_netlink) {
    errno = ENOTCONN;
    return {ReceiveStatus::kFailed};
  }
  // The kernel's port is 0.
  if (is_netlink && sender.nl_pid != 0) return {ReceiveStatus::kIgnored};
  if ((message.msg_flags & MSG_TRUNC) != 0) return {ReceiveStatus::kTruncated};
  return {ReceiveStatus::kDatagram, static_cast<std::size_t>(length)};
}

std::uint32_t SocketTransport::GetInterfaceIndex(const std::string& name) {
  // if_nametoindex makes a socket for each call, which costs a poll more than its other calls do.
  if (fd() < 0) return if_nametoindex(name.c_str());
  ifreq request = {};
  if (name.size() >= sizeof(request.ifr_name)) return 0;
  name.copy(request.ifr_name, name.size());
  if (ioctl(fd(), SIOCGIFINDEX, &request) != 0) return 0;
  return static_cast<std::uint32_t>(request.ifr_ifindex);
}

}  // namespace orvane::platform
