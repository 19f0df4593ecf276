#ifndef OPTIMIZER_NL80211_MESH_PROXY_PATH_H_
#define OPTIMIZER_NL80211_MESH_PROXY_PATH_H_

#include "common/mac_address.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

// A view of one reply about a proxy path: a station outside the mesh that a mesh node proxies. The
// message must outlive the view. A message without path information aborts the process, and so does
// reading a missing address.
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
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_MESH_PROXY_PATH_H_
