#ifndef OPTIMIZER_NL80211_MESH_PATH_H_
#define OPTIMIZER_NL80211_MESH_PATH_H_

#include <cstdint>

#include "common/mac_address.h"
#include "platform/netlink/attribute_list.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

// The path to one node of the mesh as the kernel describes it: a view of the message, which must
// outlive it. It is fatal for the message to lack the path information, and to ask for an address
// or an interface index that is not there. Any other value that is absent is 0.
class Nl80211MeshPath {
 public:
  explicit Nl80211MeshPath(const platform::GenericNetlinkMessage& message);
  Nl80211MeshPath(const Nl80211MeshPath&) = delete;
  Nl80211MeshPath& operator=(const Nl80211MeshPath&) = delete;

  std::uint32_t GetInterfaceIndex() const;
  MacAddress GetDestination() const;
  MacAddress GetNextHop() const;

  // Frames waiting for the path.
  std::uint32_t GetFrameQueueLength() const;
  // The cost of the path; less is better.
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
