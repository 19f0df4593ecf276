#include "optimizer/nl80211_mesh_proxy_path.h"

#include <linux/nl80211.h>

#include "platform/byte_string.h"
#include "platform/logging.h"

namespace orvane::ap {

using platform::ByteString;

Nl80211MeshProxyPath::Nl80211MeshProxyPath(const platform::GenericNetlinkMessage& message)
    : message_(&message) {
  CHECK_TEXT(message_->const_attributes()->Find(NL80211_ATTR_MPATH_INFO),
             "message_->const_attributes()->ConstGetNestedAttributeList( "
             "NL80211_ATTR_MPATH_INFO, &mesh_proxy_path_information_)");
}

MacAddress Nl80211MeshProxyPath::GetDestination() const {
  const platform::Attribute address = message_->const_attributes()->Find(NL80211_ATTR_MAC);
  CHECK_TEXT(address,
             "message_->const_attributes()->GetRawAttributeValue( NL80211_ATTR_MAC, &address)");
  return MacAddress(ByteString(address.payload()));
}

MacAddress Nl80211MeshProxyPath::GetMeshProxy() const {
  const platform::Attribute address =
      message_->const_attributes()->Find(NL80211_ATTR_MPATH_NEXT_HOP);
  CHECK_TEXT(address,
             "message_->const_attributes()->GetRawAttributeValue( NL80211_ATTR_MPATH_NEXT_HOP, "
             "&address)");
  return MacAddress(ByteString(address.payload()));
}

}  // namespace orvane::ap
