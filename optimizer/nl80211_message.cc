#include "optimizer/nl80211_message.h"

#include <linux/nl80211.h>

#include <utility>

#include "platform/logging.h"

namespace orvane::ap {

using platform::Attribute;
using platform::AuxiliaryKind;
using platform::ByteString;
using platform::GenericNetlinkMessage;
using platform::GenericNetlinkRequest;
using platform::NetlinkMessage;

namespace {

const char* TextOf(AuxiliaryKind kind) {
  switch (kind) {
    case AuxiliaryKind::kTimeOut:
      return "Netlink response timeout";
    case AuxiliaryKind::kUnexpectedType:
      return "Unexpected Netlink response type";
    case AuxiliaryKind::kDone:
    case AuxiliaryKind::kKernelError:
      break;
  }
  return "Unknown Netlink error";
}

}  // namespace

void SetInterfaceIndex(std::uint32_t interface, GenericNetlinkRequest* request) {
  CHECK_TEXT(request->attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, interface),
             "request.attributes()->SetU32AttributeValue( NL80211_ATTR_IFINDEX, interface)");
}

void SetStationAddress(const ByteString& address, GenericNetlinkRequest* request) {
  CHECK_TEXT(request->attributes().SetRawAttributeValue(NL80211_ATTR_MAC, address),
             "request.attributes()->SetRawAttributeValue( NL80211_ATTR_MAC, address)");
}

void SetStationAddress(const MacAddress& mac_address, GenericNetlinkRequest* request) {
  CHECK_TEXT(
      request->attributes().SetRawAttributeValue(NL80211_ATTR_MAC, mac_address.ToByteString()),
      "request.attributes()->SetRawAttributeValue( NL80211_ATTR_MAC, mac_address.ToByteString())");
}

std::uint32_t GetInterfaceIndex(const GenericNetlinkMessage& record) {
  const auto interface_index = record.const_attributes()->Get<std::uint32_t>(NL80211_ATTR_IFINDEX);
  CHECK_TEXT(interface_index.has_value(),
             "message_->const_attributes()->GetU32AttributeValue( NL80211_ATTR_IFINDEX, "
             "&interface_index)");
  return *interface_index;
}

MacAddress GetAddress(const GenericNetlinkMessage& record) {
  const Attribute address = record.const_attributes()->Find(NL80211_ATTR_MAC);
  CHECK_TEXT(address,
             "message_->const_attributes()->GetRawAttributeValue( NL80211_ATTR_MAC, &address)");
  return MacAddress(ByteString(address.payload()));
}

MacAddress GetNextHop(const GenericNetlinkMessage& record) {
  const Attribute address = record.const_attributes()->Find(NL80211_ATTR_MPATH_NEXT_HOP);
  CHECK_TEXT(address,
             "message_->const_attributes()->GetRawAttributeValue( NL80211_ATTR_MPATH_NEXT_HOP, "
             "&address)");
  return MacAddress(ByteString(address.payload()));
}

void ReportFailure(const Nl80211CompletionCallback& callback, std::string message,
                   std::int32_t code) {
  const Nl80211Error error = {std::move(message), code};
  callback(&error);
}

void ReportOutcome(bool is_dump, AuxiliaryKind kind, const NetlinkMessage* message,
                   const Nl80211CompletionCallback& callback) {
  if (message == nullptr) {
    ReportFailure(callback, TextOf(kind), static_cast<std::int32_t>(kind));
  } else if (message->IsError()) {
    ReportFailure(callback, message->GetErrorText(), message->GetErrno());
  } else if (!message->IsDone()) {
    VLOG(1) << "Unexpected message received: type " << message->type();
  } else if (is_dump) {
    callback(nullptr);
  }
}

}  // namespace orvane::ap
