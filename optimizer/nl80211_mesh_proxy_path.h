#ifndef OPTIMIZER_NL80211_MESH_PROXY_PATH_H_
#define OPTIMIZER_NL80211_MESH_PROXY_PATH_H_

#include "common/mac_address.h"
#include "platform/netlink/attribute_list.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

// The path to a station beyond the mesh, through the node that stands in for it, as the kernel
// describes it: a view of the message, which must outlive it. It is fatal for the message to lack
// the path information, and to ask for an address that is not there.
class Nl80211MeshProxyPath {
 public:
  explicit Nl80211MeshProxyPath(const platform::GenericNetlinkMessage& message);
  Nl80211MeshProxyPath(const Nl80211MeshProxyPath&) = delete;
  Nl80211MeshProxyPath& operator=(const Nl80211MeshProxyPath&) = delete;

  MacAddress GetDestination() const;
  // The mesh node that proxies the destination.
  MacAddress GetMeshProxy() const;

 private:
  const platform::GenericNetlinkMessage* message_;
  platform::AttributeList mesh_proxy_path_information_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_MESH_PROXY_PATH_H_
