#include "optimizer/nl80211_mesh_path.h"

#include <linux/nl80211.h>

#include "platform/byte_string.h"
#include "platform/logging.h"

namespace orvane::ap {

using platform::ByteString;

Nl80211MeshPath::Nl80211MeshPath(const platform::GenericNetlinkMessage& message)
    : message_(&message) {
  CHECK_TEXT(message_->const_attributes()->ConstGetNestedAttributeList(NL80211_ATTR_MPATH_INFO,
                                                                       &mesh_path_information_),
             "message_->const_attributes()->ConstGetNestedAttributeList( "
             "NL80211_ATTR_MPATH_INFO, &mesh_path_information_)");
  mesh_path_information_.GetU8AttributeValue(NL80211_MPATH_INFO_FLAGS, &flags_);
}

std::uint32_t Nl80211MeshPath::GetInterfaceIndex() const {
  std::uint32_t interface_index = 0;
  CHECK_TEXT(
      message_->const_attributes()->GetU32AttributeValue(NL80211_ATTR_IFINDEX, &interface_index),
      "message_->const_attributes()->GetU32AttributeValue( NL80211_ATTR_IFINDEX, "
      "&interface_index)");
  return interface_index;
}

MacAddress Nl80211MeshPath::GetDestination() const {
  ByteString address;
  CHECK_TEXT(message_->const_attributes()->GetRawAttributeValue(NL80211_ATTR_MAC, &address),
             "message_->const_attributes()->GetRawAttributeValue( NL80211_ATTR_MAC, &address)");
  return MacAddress(address);
}

MacAddress Nl80211MeshPath::GetNextHop() const {
  ByteString address;
  CHECK_TEXT(
      message_->const_attributes()->GetRawAttributeValue(NL80211_ATTR_MPATH_NEXT_HOP, &address),
      "message_->const_attributes()->GetRawAttributeValue( NL80211_ATTR_MPATH_NEXT_HOP, "
      "&address)");
  return MacAddress(address);
}

std::uint32_t Nl80211MeshPath::GetFrameQueueLength() const {
  std::uint32_t length = 0;
  mesh_path_information_.GetU32AttributeValue(NL80211_MPATH_INFO_FRAME_QLEN, &length);
  return length;
}

std::uint32_t Nl80211MeshPath::GetMetric() const {
  std::uint32_t metric = 0;
  mesh_path_information_.GetU32AttributeValue(NL80211_MPATH_INFO_METRIC, &metric);
  return metric;
}

bool Nl80211MeshPath::IsActive() const { return (flags_ & NL80211_MPATH_FLAG_ACTIVE) != 0; }
bool Nl80211MeshPath::IsResolving() const { return (flags_ & NL80211_MPATH_FLAG_RESOLVING) != 0; }
bool Nl80211MeshPath::IsSnValid() const { return (flags_ & NL80211_MPATH_FLAG_SN_VALID) != 0; }
bool Nl80211MeshPath::IsFixed() const { return (flags_ & NL80211_MPATH_FLAG_FIXED) != 0; }
bool Nl80211MeshPath::IsResolved() const { return (flags_ & NL80211_MPATH_FLAG_RESOLVED) != 0; }

}  // namespace orvane::ap
