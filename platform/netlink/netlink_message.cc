#include "platform/netlink/netlink_message.h"

#include <linux/genetlink.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "platform/logging.h"

namespace orvane::platform {
namespace {

// An error or a done message begins with its result.
constexpr std::size_t kResultLength = sizeof(std::int32_t);

std::span<const std::uint8_t> SkipBytes(std::span<const std::uint8_t> bytes, std::size_t count) {
  return bytes.subspan(std::min(count, bytes.size()));
}

}  // namespace

std::optional<NetlinkMessage> NetlinkMessage::TakeFrom(std::span<const std::uint8_t>* bytes) {
  nlmsghdr header;
  if (bytes->size() < sizeof(header)) return std::nullopt;
  std::memcpy(&header, bytes->data(), sizeof(header));
  if (header.nlmsg_len < sizeof(header) || header.nlmsg_len > bytes->size()) return std::nullopt;

  const auto payload = bytes->subspan(sizeof(header), header.nlmsg_len - sizeof(header));
  // The last message may lack its padding.
  *bytes = SkipBytes(*bytes, NLMSG_ALIGN(std::size_t{header.nlmsg_len}));
  return NetlinkMessage(header, payload);
}

bool NetlinkMessage::HasResult() const { return payload_.size() >= kResultLength; }

bool NetlinkMessage::IsDone() const { return type() == NLMSG_DONE && !IsError(); }

bool NetlinkMessage::IsError() const {
  if (type() == NLMSG_ERROR) return HasResult();
  return type() == NLMSG_DONE && GetError() < 0;
}

std::int32_t NetlinkMessage::GetError() const {
  if ((type() != NLMSG_ERROR && type() != NLMSG_DONE) || !HasResult()) return 0;
  std::int32_t result;
  std::memcpy(&result, payload_.data(), sizeof(result));
  return result;
}

// The smallest number has no opposite and stays unchanged.
std::int32_t NetlinkMessage::GetErrno() const {
  return static_cast<std::int32_t>(-std::int64_t{GetError()});
}

std::string NetlinkMessage::GetErrorText() const {
  std::string text = SystemErrorText(GetErrno());
  const std::string_view detail = GetExtendedAcknowledgement().Find(NLMSGERR_ATTR_MSG).text();
  if (!detail.empty()) text.append(": ").append(detail);
  return text;
}

// In a done message the attributes follow the result. An error message contains the request in
// between; with NLM_F_CAPPED only the request's header.
AttributeList NetlinkMessage::GetExtendedAcknowledgement() const {
  if ((flags() & NLM_F_ACK_TLVS) == 0) return AttributeList();
  const std::span<const std::uint8_t> rest = SkipBytes(payload_, kResultLength);
  if (type() == NLMSG_DONE) return AttributeList(rest);

  nlmsghdr request;
  if (rest.size() < sizeof(request)) return AttributeList();
  std::memcpy(&request, rest.data(), sizeof(request));
  const bool capped = (flags() & NLM_F_CAPPED) != 0;
  return AttributeList(
      SkipBytes(rest, capped ? sizeof(request) : NLMSG_ALIGN(std::size_t{request.nlmsg_len})));
}

std::optional<GenericNetlinkMessage> GenericNetlinkMessage::From(const NetlinkMessage& message) {
  const std::span<const std::uint8_t> payload = message.payload();
  genlmsghdr header;
  if (payload.size() < sizeof(header)) return std::nullopt;
  std::memcpy(&header, payload.data(), sizeof(header));
  return GenericNetlinkMessage(header.cmd, AttributeList(payload.subspan(GENL_HDRLEN)));
}

}  // namespace orvane::platform
