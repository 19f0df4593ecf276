#ifndef SIMULATION_NL80211_RECORDS_H_
#define SIMULATION_NL80211_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

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

// Makes the messages of the stations of an interface. A station that differs from the one before
// only in its address, its average signal or its flags costs a copy of a few bytes.
class StationMessages {
 public:
  StationMessages(const MessageHeader& header, std::uint32_t interface_index)
      : header_(header), interface_index_(interface_index) {}

  // Valid until the next call.
  std::span<const std::uint8_t> Make(const FakeKernel::Station& station);

 private:
  bool IsAlike(const FakeKernel::Station& station) const;
  void MakeAnew(const FakeKernel::Station& station);

  MessageHeader header_;
  std::uint32_t interface_index_;
  FakeKernel::Station station_;        // whose message it is
  std::vector<std::uint8_t> message_;  // empty at first
  // In the message; 0 if it has no average signal.
  std::size_t address_offset_ = 0;
  std::size_t signal_offset_ = 0;
  std::size_t flags_offset_ = 0;
};

}  // namespace orvane::simulation

#endif  // SIMULATION_NL80211_RECORDS_H_
