#ifndef PLATFORM_NETLINK_NETLINK_SOCKET_H_
#define PLATFORM_NETLINK_NETLINK_SOCKET_H_

#include <cstddef>
#include <cstdint>
#include <span>

namespace orvane::platform {

// The outcome of one attempt to receive.
enum class ReceiveStatus : std::uint8_t {
  kDatagram,   // The buffer holds a datagram.
  kNothing,    // No datagram is waiting.
  kIgnored,    // A datagram of another process was dropped.
  kTruncated,  // A datagram larger than the buffer was dropped.
  kLost,  // The kernel dropped messages because the queue was full; errno is set. More may follow.
  kFailed,  // The socket is unusable; errno is set.
};

struct ReceiveResult {
  ReceiveStatus status;
  std::size_t length = 0;  // of a kDatagram
};

// A non-blocking datagram socket to the kernel.
class NetlinkSocket {
 public:
  virtual ~NetlinkSocket() = default;

  // Readable when there is something to receive.
  virtual int fd() const = 0;

  // The socket's address. The kernel copies it into replies.
  virtual std::uint32_t port() const = 0;

  // Joins a multicast group. On failure returns false, with errno set.
  virtual bool JoinGroup(std::uint32_t group);

  // Sends one datagram. On failure returns false, with errno set.
  virtual bool Send(std::span<const std::uint8_t> datagram);

  // Receives one datagram. On a netlink socket only the kernel's datagrams are accepted.
  virtual ReceiveResult Receive(std::span<std::uint8_t> buffer);
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_SOCKET_H_
