#ifndef PLATFORM_NETLINK_NETLINK_SOCKET_H_
#define PLATFORM_NETLINK_NETLINK_SOCKET_H_

#include <cstddef>
#include <cstdint>
#include <span>

namespace orvane::platform {

// The outcome of one attempt to receive.
enum class ReceiveStatus : std::uint8_t {
  kDatagram,   // The buffer holds one.
  kNothing,    // None is waiting.
  kIgnored,    // A datagram of another process. Dropped.
  kTruncated,  // A datagram larger than the buffer. Dropped.
  kLost,       // The kernel dropped messages, for want of room; errno says more. Others follow.
  kFailed,     // The socket is of no more use; errno says why.
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

  // The address of the socket. Replies to it carry this number.
  virtual std::uint32_t port() const = 0;

  // Sends one datagram. False, with errno set, on failure.
  virtual bool Send(std::span<const std::uint8_t> datagram);

  // Receives one datagram. On a netlink socket only the kernel's are taken.
  virtual ReceiveResult Receive(std::span<std::uint8_t> buffer);
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_SOCKET_H_
