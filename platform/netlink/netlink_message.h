#ifndef PLATFORM_NETLINK_NETLINK_MESSAGE_H_
#define PLATFORM_NETLINK_NETLINK_MESSAGE_H_

#include <linux/netlink.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/netlink/attribute_list.h"

namespace orvane::platform {

// One message as it came from the kernel: a view, valid as long as the buffer that it lies in.
class NetlinkMessage {
 public:
  // Takes the message at the front of `*bytes` and moves `*bytes` on to the next one. Nothing, and
  // `*bytes` as it was, when there is no whole message: too few bytes for a header, or a length
  // that is less than the header's or more than there is.
  static std::optional<NetlinkMessage> TakeFrom(std::span<const std::uint8_t>* bytes);

  std::uint16_t type() const { return header_.nlmsg_type; }
  std::uint16_t flags() const { return header_.nlmsg_flags; }
  std::uint32_t sequence() const { return header_.nlmsg_seq; }
  // The port that the message is meant for.
  std::uint32_t port() const { return header_.nlmsg_pid; }
  std::span<const std::uint8_t> payload() const { return payload_; }

  // The end of a dump that went well.
  bool IsDone() const;

  // An error or, where the error value is 0, an acknowledgement. The kernel also ends a dump that
  // failed on its way with a done message that bears the error: that is an error here.
  bool IsError() const;

  // The error value of such a message, a negative errno or 0; 0 for any other message.
  std::int32_t GetError() const;

  // The same with the other sign: a positive errno or 0.
  std::int32_t GetErrno() const;

  // The error for people: the system's text and number, and what the kernel itself has to say.
  std::string GetErrorText() const;

 private:
  NetlinkMessage(const nlmsghdr& header, std::span<const std::uint8_t> payload)
      : header_(header), payload_(payload) {}

  bool HasResult() const;
  AttributeList GetExtendedAcknowledgement() const;

  nlmsghdr header_;
  std::span<const std::uint8_t> payload_;
};

// A message of a generic-netlink family: a command and attributes. A view, as NetlinkMessage.
class GenericNetlinkMessage {
 public:
  // Nothing when the payload is too short for the header of generic netlink.
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
