#ifndef PLATFORM_NETLINK_NETLINK_MESSAGE_H_
#define PLATFORM_NETLINK_NETLINK_MESSAGE_H_

#include <linux/netlink.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/netlink/attribute_list.h"

namespace orvane::platform {

// A view of one message from the kernel, valid as long as the receive buffer.
class NetlinkMessage {
 public:
  // Takes the first message of `*bytes` and moves `*bytes` on to the next one. If there is no whole
  // message (too few bytes for a header, or a length that is less than the header's or more than
  // the rest), returns nothing and leaves `*bytes` unchanged.
  static std::optional<NetlinkMessage> TakeFrom(std::span<const std::uint8_t>* bytes);

  std::uint16_t type() const { return header_.nlmsg_type; }
  std::uint16_t flags() const { return header_.nlmsg_flags; }
  std::uint32_t sequence() const { return header_.nlmsg_seq; }
  // The destination port.
  std::uint32_t port() const { return header_.nlmsg_pid; }
  std::span<const std::uint8_t> payload() const { return payload_; }

  // Whether this ends a successful dump.
  bool IsDone() const;

  // Whether this is an error, or an acknowledgement if the error value is 0. The kernel ends a
  // failed dump with a done message that contains the error; it counts as an error here.
  bool IsError() const;

  // The error value of such a message: a negative errno or 0. 0 for any other message.
  std::int32_t GetError() const;

  // The same as a positive errno or 0.
  std::int32_t GetErrno() const;

  // The error for people: the system's text and number, and the kernel's own text, if any.
  std::string GetErrorText() const;

 private:
  NetlinkMessage(const nlmsghdr& header, std::span<const std::uint8_t> payload)
      : header_(header), payload_(payload) {}

  bool HasResult() const;
  AttributeList GetExtendedAcknowledgement() const;

  nlmsghdr header_;
  std::span<const std::uint8_t> payload_;
};

// A view of a generic netlink message: a command and attributes. Valid as long as the receive
// buffer.
class GenericNetlinkMessage {
 public:
  // Returns nothing if the payload is too short for the generic netlink header.
  static std::optional<GenericNetlinkMessage> From(const NetlinkMessage& message);

  std::uint8_t command() const { return command_; }
  const AttributeList* const_attributes() const { return &attributes_; }

 private:
  GenericNetlinkMessage(std::uint8_t command, const AttributeList& attributes)
      : command_(command), attributes_(attributes) {}

  std::uint8_t command_;
  AttributeList attributes_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_MESSAGE_H_
