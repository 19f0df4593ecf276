#ifndef PLATFORM_NETLINK_TESTING_NL80211_RECORDS_H_
#define PLATFORM_NETLINK_TESTING_NL80211_RECORDS_H_

#include "platform/netlink/testing/fake_kernel.h"
#include "platform/netlink/testing/message_builder.h"

namespace orvane::platform {

// The attributes of nl80211's replies, in the kernel's own order, with what a usual driver tells.
AttributeBuilder MakeStationRecord(std::uint32_t interface_index,
                                   const FakeKernel::Station& station);
AttributeBuilder MakeMeshPathRecord(std::uint32_t interface_index,
                                    const FakeKernel::MeshPath& path);
AttributeBuilder MakeMeshProxyPathRecord(std::uint32_t interface_index,
                                         const FakeKernel::MeshProxyPath& path);

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_TESTING_NL80211_RECORDS_H_
