#include "optimizer/nl80211_mesh_path.h"

#include <linux/nl80211.h>

#include "optimizer/nl80211_message.h"
#include "platform/logging.h"

namespace orvane::ap {

Nl80211MeshPath::Nl80211MeshPath(const platform::GenericNetlinkMessage& message)
    : message_(&message) {
  const platform::Attribute information =
      message_->const_attributes()->Find(NL80211_ATTR_MPATH_INFO);
  CHECK_TEXT(information,
             "message_->const_attributes()->ConstGetNestedAttributeList( "
             "NL80211_ATTR_MPATH_INFO, &mesh_path_information_)");
  mesh_path_information_ = platform::AttributeList(information);
  flags_ = mesh_path_information_.Get<std::uint8_t>(NL80211_MPATH_INFO_FLAGS).value_or(0);
}

std::uint32_t Nl80211MeshPath::GetInterfaceIndex() const {
  return ap::GetInterfaceIndex(*message_);
}

MacAddress Nl80211MeshPath::GetDestination() const { return GetAddress(*message_); }

MacAddress Nl80211MeshPath::GetNextHop() const { return ap::GetNextHop(*message_); }

std::uint32_t Nl80211MeshPath::GetFrameQueueLength() const {
  return mesh_path_information_.Get<std::uint32_t>(NL80211_MPATH_INFO_FRAME_QLEN).value_or(0);
}

std::uint32_t Nl80211MeshPath::GetMetric() const {
  return mesh_path_information_.Get<std::uint32_t>(NL80211_MPATH_INFO_METRIC).value_or(0);
}

bool Nl80211MeshPath::IsActive() const { return (flags_ & NL80211_MPATH_FLAG_ACTIVE) != 0; }
bool Nl80211MeshPath::IsResolving() const { return (flags_ & NL80211_MPATH_FLAG_RESOLVING) != 0; }
bool Nl80211MeshPath::IsSnValid() const { return (flags_ & NL80211_MPATH_FLAG_SN_VALID) != 0; }
bool Nl80211MeshPath::IsFixed() const { return (flags_ & NL80211_MPATH_FLAG_FIXED) != 0; }
bool Nl80211MeshPath::IsResolved() const { return (flags_ & NL80211_MPATH_FLAG_RESOLVED) != 0; }

}  // namespace orvane::ap
