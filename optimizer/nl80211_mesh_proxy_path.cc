#include "optimizer/nl80211_mesh_proxy_path.h"

#include <linux/nl80211.h>

#include "optimizer/nl80211_message.h"
#include "platform/logging.h"

namespace orvane::ap {

Nl80211MeshProxyPath::Nl80211MeshProxyPath(const platform::GenericNetlinkMessage& message)
    : message_(&message) {
  CHECK_TEXT(message_->const_attributes()->Find(NL80211_ATTR_MPATH_INFO),
             "message_->const_attributes()->ConstGetNestedAttributeList( "
             "NL80211_ATTR_MPATH_INFO, &mesh_proxy_path_information_)");
}

MacAddress Nl80211MeshProxyPath::GetDestination() const { return GetAddress(*message_); }

MacAddress Nl80211MeshProxyPath::GetMeshProxy() const { return GetNextHop(*message_); }

}  // namespace orvane::ap
