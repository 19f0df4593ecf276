#ifndef SIMULATION_NL80211_RECORDS_H_
#define SIMULATION_NL80211_RECORDS_H_

#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"

namespace orvane::simulation {

// The attributes of nl80211's replies, in the kernel's own order, with what a usual driver tells.
AttributeBuilder MakeStationRecord(std::uint32_t interface_index,
                                   const FakeKernel::Station& station);
AttributeBuilder MakeMeshPathRecord(std::uint32_t interface_index,
                                    const FakeKernel::MeshPath& path);
AttributeBuilder MakeMeshProxyPathRecord(std::uint32_t interface_index,
                                         const FakeKernel::MeshProxyPath& path);

}  // namespace orvane::simulation

#endif  // SIMULATION_NL80211_RECORDS_H_
