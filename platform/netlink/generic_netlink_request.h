#ifndef PLATFORM_NETLINK_GENERIC_NETLINK_REQUEST_H_
#define PLATFORM_NETLINK_GENERIC_NETLINK_REQUEST_H_

#include <linux/netlink.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/byte_string.h"

namespace orvane::platform {

// A request to a generic-netlink family, in a buffer of a fixed size.
class GenericNetlinkRequest {
 public:
  // Size of the whole message, headers included.
  static constexpr std::size_t kCapacity = 256;

  // Adds attributes to a request, which must outlive this object. If there is no room left, a
  // setter adds nothing and returns false.
  class Attributes {
   public:
    bool SetU32AttributeValue(std::uint16_t type, std::uint32_t value);
    bool SetRawAttributeValue(std::uint16_t type, const ByteString& value);
    // Adds the string with its terminating null byte.
    bool SetStringAttributeValue(std::uint16_t type, const std::string& value);

   private:
    friend class GenericNetlinkRequest;

    explicit Attributes(GenericNetlinkRequest* request) : request_(request) {}

    GenericNetlinkRequest* request_;
  };

  // `message_type` is the family id. The initial flags are NLM_F_REQUEST and NLM_F_ACK.
  GenericNetlinkRequest(std::uint16_t message_type, std::uint8_t command);

  Attributes attributes() { return Attributes(this); }

  std::uint16_t message_type() const { return header().nlmsg_type; }
  std::uint16_t flags() const { return header().nlmsg_flags; }
  void AddFlags(std::uint16_t flags) { header().nlmsg_flags |= flags; }
  bool IsDump() const { return (flags() & NLM_F_DUMP) == NLM_F_DUMP; }

  // Sets the numbers that the kernel copies into the replies.
  void SetSender(std::uint32_t port, std::uint32_t sequence);

  // The message as it is sent to the kernel.
  std::span<const std::uint8_t> bytes() const;

 private:
  nlmsghdr& header() { return *reinterpret_cast<nlmsghdr*>(buffer_.data()); }
  const nlmsghdr& header() const { return *reinterpret_cast<const nlmsghdr*>(buffer_.data()); }

  // Zero-initialised: libmnl does not clear the padding after an attribute, and stack contents must
  // not leak to the kernel.
  alignas(NLMSG_ALIGNTO) std::array<std::uint8_t, kCapacity> buffer_ = {};
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_GENERIC_NETLINK_REQUEST_H_
