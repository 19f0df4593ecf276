#ifndef PLATFORM_NETLINK_NETLINK_TRANSPORT_H_
#define PLATFORM_NETLINK_NETLINK_TRANSPORT_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace orvane::platform {

// What came of one attempt to receive.
enum class ReceiveStatus : std::uint8_t {
  kDatagram,   // Here it is.
  kNothing,    // Nothing there now.
  kIgnored,    // A datagram from somebody else than the kernel. Dropped.
  kTruncated,  // A datagram larger than the buffer. Dropped.
  kLost,       // The kernel had to drop messages, for want of room; errno says more. Others follow.
  kFailed,     // It will not work any more; errno says why.
};

struct ReceiveResult {
  ReceiveStatus status;
  std::size_t length = 0;  // of a kDatagram
};

// The way to the kernel and back. Nothing here blocks.
class NetlinkTransport {
 public:
  virtual ~NetlinkTransport() = default;

  // False, and errno set, when there is no way. The other calls then fail, and do no harm.
  virtual bool Open() = 0;

  // Readable when there is something to receive. -1 when not open.
  virtual int fd() const = 0;

  // Our own address: what replies to us bear.
  virtual std::uint32_t port() const = 0;

  // One datagram, whole. False, and errno set, when it can't be sent.
  virtual bool Send(std::span<const std::uint8_t> datagram) = 0;

  // One datagram, into `buffer`.
  virtual ReceiveResult Receive(std::span<std::uint8_t> buffer) = 0;

  // The kernel's index of a network interface, 0 when there is none of that name. Works without
  // Open, too.
  virtual std::uint32_t GetInterfaceIndex(const std::string& name) = 0;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_TRANSPORT_H_
