#include "platform/netlink/netlink_socket.h"

#include <linux/netlink.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/files.h"

namespace orvane::platform {
namespace {

ReceiveStatus StatusOfError(int error_number) {
  switch (error_number) {
    case EAGAIN:
      return ReceiveStatus::kNothing;
    // A dump that can't continue also reports an error in this call.
    case ENOBUFS:
    case ENOMEM:
      return ReceiveStatus::kLost;
    default:
      return ReceiveStatus::kFailed;
  }
}

}  // namespace

bool NetlinkSocket::JoinGroup(std::uint32_t group) {
  return setsockopt(fd(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof(group)) == 0;
}

bool NetlinkSocket::Send(std::span<const std::uint8_t> datagram) {
  // An unconnected netlink socket sends to the kernel.
  const ssize_t sent = RetryOnEintr(
      [&] { return send(fd(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL); });
  return sent >= 0;
}

ReceiveResult NetlinkSocket::Receive(std::span<std::uint8_t> buffer) {
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

}  // namespace orvane::platform
