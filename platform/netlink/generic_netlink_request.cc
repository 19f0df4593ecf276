#include "platform/netlink/generic_netlink_request.h"

#include <libmnl/libmnl.h>
#include <linux/genetlink.h>

namespace orvane::platform {

GenericNetlinkRequest::GenericNetlinkRequest(std::uint16_t message_type, std::uint8_t command) {
  nlmsghdr* message = mnl_nlmsg_put_header(buffer_.data());
  message->nlmsg_type = message_type;
  message->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
  auto* generic = static_cast<genlmsghdr*>(mnl_nlmsg_put_extra_header(message, GENL_HDRLEN));
  generic->cmd = command;
}

void GenericNetlinkRequest::SetSender(std::uint32_t port, std::uint32_t sequence) {
  header().nlmsg_pid = port;
  header().nlmsg_seq = sequence;
}

std::span<const std::uint8_t> GenericNetlinkRequest::bytes() const {
  return {buffer_.data(), header().nlmsg_len};
}

bool GenericNetlinkRequest::Attributes::SetU32AttributeValue(std::uint16_t type,
                                                             std::uint32_t value) {
  return mnl_attr_put_u32_check(&request_->header(), kCapacity, type, value);
}

bool GenericNetlinkRequest::Attributes::SetRawAttributeValue(std::uint16_t type,
                                                             const ByteString& value) {
  return mnl_attr_put_check(&request_->header(), kCapacity, type, value.GetLength(),
                            value.GetConstData());
}

bool GenericNetlinkRequest::Attributes::SetStringAttributeValue(std::uint16_t type,
                                                                const std::string& value) {
  return mnl_attr_put_strz_check(&request_->header(), kCapacity, type, value.c_str());
}

}  // namespace orvane::platform
