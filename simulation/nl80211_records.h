#ifndef SIMULATION_NL80211_RECORDS_H_
#define SIMULATION_NL80211_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"

namespace orvane::simulation {

// Builds the attributes of nl80211's replies, in the kernel's order, with the values that a typical
// driver reports.
AttributeBuilder MakeStationRecord(std::uint32_t interface_index,
                                   const FakeKernel::Station& station);
AttributeBuilder MakeMeshPathRecord(std::uint32_t interface_index,
                                    const FakeKernel::MeshPath& path);
AttributeBuilder MakeMeshProxyPathRecord(std::uint32_t interface_index,
                                         const FakeKernel::MeshProxyPath& path);

// Builds the messages of the stations of an interface. A station that differs from the previous one
// only in address, average signal or flags costs a copy of a few bytes.
class StationMessages {
 public:
  StationMessages(const MessageHeader& header, std::uint32_t interface_index)
      : header_(header), interface_index_(interface_index) {}

  // The result is valid until the next call.
  std::span<const std::uint8_t> Make(const FakeKernel::Station& station);

 private:
  bool IsAlike(const FakeKernel::Station& station) const;
  void MakeAnew(const FakeKernel::Station& station);

  MessageHeader header_;
  std::uint32_t interface_index_;
  FakeKernel::Station station_;        // the station of `message_`
  std::vector<std::uint8_t> message_;  // empty before the first call
  // Offsets in the message; the signal's is 0 if there is no average signal.
  std::size_t address_offset_ = 0;
  std::size_t signal_offset_ = 0;
  std::size_t flags_offset_ = 0;
};

}  // namespace orvane::simulation

#endif  // SIMULATION_NL80211_RECORDS_H_
