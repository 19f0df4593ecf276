#ifndef OPTIMIZER_NL80211_MESH_PATH_H_
#define OPTIMIZER_NL80211_MESH_PATH_H_

#include <cstdint>

#include "common/mac_address.h"
#include "platform/netlink/attribute_list.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

// A view of one reply about a mesh path. The message must outlive the view. A message without path
// information aborts the process, and so does reading a missing address or interface index. Any
// other missing value is 0.
class Nl80211MeshPath {
 public:
  explicit Nl80211MeshPath(const platform::GenericNetlinkMessage& message);
  Nl80211MeshPath(const Nl80211MeshPath&) = delete;
  Nl80211MeshPath& operator=(const Nl80211MeshPath&) = delete;

  std::uint32_t GetInterfaceIndex() const;
  MacAddress GetDestination() const;
  MacAddress GetNextHop() const;

  // Number of frames queued for the path.
  std::uint32_t GetFrameQueueLength() const;
  // Cost of the path; lower is better.
  std::uint32_t GetMetric() const;

  bool IsActive() const;
  bool IsResolving() const;
  bool IsSnValid() const;
  bool IsFixed() const;
  bool IsResolved() const;

 private:
  const platform::GenericNetlinkMessage* message_;
  platform::AttributeList mesh_path_information_;
  std::uint8_t flags_ = 0;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_MESH_PATH_H_
