#include "simulation/nl80211_records.h"

#include <linux/nl80211.h>

#include <algorithm>
#include <cstring>

#include "platform/netlink/attribute_list.h"

namespace orvane::simulation {
namespace {

constexpr std::uint32_t kGeneration = 7;
constexpr std::uint32_t kKnownFlags = 0xfe;
// Including the one for frames without an identifier.
constexpr int kTrafficIdentifiers = 17;

AttributeBuilder MakeRate(const FakeKernel::Rate& rate) {
  AttributeBuilder attributes;
  attributes.U32(NL80211_RATE_INFO_BITRATE32, rate.bitrate);
  attributes.U16(NL80211_RATE_INFO_BITRATE, static_cast<std::uint16_t>(rate.bitrate));
  if (rate.mcs) attributes.U8(NL80211_RATE_INFO_MCS, *rate.mcs);
  if (rate.vht_mcs) attributes.U8(NL80211_RATE_INFO_VHT_MCS, *rate.vht_mcs);
  if (rate.vht_nss) attributes.U8(NL80211_RATE_INFO_VHT_NSS, *rate.vht_nss);
  for (const int flag : rate.flags) attributes.Flag(flag);
  return attributes;
}

AttributeBuilder MakeChainSignals(std::int8_t signal) {
  return AttributeBuilder()
      .U8(0, static_cast<std::uint8_t>(signal))
      .U8(1, static_cast<std::uint8_t>(signal));
}

// These are the larger part of a record.
AttributeBuilder MakeTrafficIdentifierStatistics() {
  AttributeBuilder attributes;
  for (int number = 1; number <= kTrafficIdentifiers; ++number) {
    attributes.Nest(number, AttributeBuilder()
                                .U64(NL80211_TID_STATS_RX_MSDU, 10)
                                .U64(NL80211_TID_STATS_TX_MSDU, 20)
                                .U64(NL80211_TID_STATS_TX_MSDU_RETRIES, 0)
                                .U64(NL80211_TID_STATS_TX_MSDU_FAILED, 0));
  }
  return attributes;
}

void AddStatistics(const FakeKernel::Station& station, AttributeBuilder& attributes) {
  attributes.U32(NL80211_STA_INFO_CONNECTED_TIME, 3600)
      .U32(NL80211_STA_INFO_INACTIVE_TIME, 40)
      .U64(NL80211_STA_INFO_ASSOC_AT_BOOTTIME, 1'000'000'000)
      .U32(NL80211_STA_INFO_RX_BYTES, 1000)
      .U32(NL80211_STA_INFO_TX_BYTES, 2000)
      .U64(NL80211_STA_INFO_RX_BYTES64, 1000)
      .U64(NL80211_STA_INFO_TX_BYTES64, 2000)
      .U64(NL80211_STA_INFO_RX_DURATION, 0)
      .U64(NL80211_STA_INFO_TX_DURATION, 0)
      .U8(NL80211_STA_INFO_SIGNAL, static_cast<std::uint8_t>(station.signal));
}

void AddLaterStatistics(AttributeBuilder& attributes) {
  attributes.U32(NL80211_STA_INFO_RX_PACKETS, 10)
      .U32(NL80211_STA_INFO_TX_PACKETS, 20)
      .U32(NL80211_STA_INFO_TX_RETRIES, 1)
      .U32(NL80211_STA_INFO_TX_FAILED, 0)
      .U32(NL80211_STA_INFO_EXPECTED_THROUGHPUT, 50'000)
      .U32(NL80211_STA_INFO_BEACON_LOSS, 0)
      .Nest(NL80211_STA_INFO_BSS_PARAM, AttributeBuilder()
                                            .Flag(NL80211_STA_BSS_PARAM_SHORT_SLOT_TIME)
                                            .U8(NL80211_STA_BSS_PARAM_DTIM_PERIOD, 2)
                                            .U16(NL80211_STA_BSS_PARAM_BEACON_INTERVAL, 100));
}

void AddLastStatistics(const FakeKernel::Station& station, AttributeBuilder& attributes) {
  attributes.U64(NL80211_STA_INFO_RX_DROP_MISC, 0)
      .U8(NL80211_STA_INFO_ACK_SIGNAL, static_cast<std::uint8_t>(station.signal))
      .Nest(NL80211_STA_INFO_TID_STATS, MakeTrafficIdentifierStatistics());
}

void AddChainSignals(const FakeKernel::Station& station, AttributeBuilder& attributes) {
  attributes.Nest(NL80211_STA_INFO_CHAIN_SIGNAL, MakeChainSignals(station.signal))
      .Nest(NL80211_STA_INFO_CHAIN_SIGNAL_AVG, MakeChainSignals(station.signal));
}

AttributeBuilder MakeStationInformation(const FakeKernel::Station& station) {
  AttributeBuilder attributes;
  if (station.has_statistics) AddStatistics(station, attributes);
  if (station.signal_average) {
    attributes.U8(NL80211_STA_INFO_SIGNAL_AVG, static_cast<std::uint8_t>(*station.signal_average));
  }
  if (station.has_statistics) AddChainSignals(station, attributes);
  attributes.Nest(NL80211_STA_INFO_TX_BITRATE, MakeRate(station.tx_rate));
  if (station.has_rx_rate) {
    attributes.Nest(NL80211_STA_INFO_RX_BITRATE, MakeRate(station.rx_rate));
  }
  if (station.has_statistics) AddLaterStatistics(attributes);
  attributes.Raw(NL80211_STA_INFO_STA_FLAGS,
                 BytesBuilder().Value(nl80211_sta_flag_update{kKnownFlags, station.flags}).bytes());
  if (station.has_statistics) AddLastStatistics(station, attributes);
  return attributes;
}

// Returns the offset of the attribute's payload in the message.
std::size_t OffsetOf(const platform::Attribute& attribute, std::span<const std::uint8_t> message) {
  return attribute ? static_cast<std::size_t>(attribute.payload().data() - message.data()) : 0;
}

}  // namespace

AttributeBuilder MakeStationRecord(std::uint32_t interface_index,
                                   const FakeKernel::Station& station) {
  return AttributeBuilder()
      .U32(NL80211_ATTR_IFINDEX, interface_index)
      .Raw(NL80211_ATTR_MAC, station.address)
      .U32(NL80211_ATTR_GENERATION, kGeneration)
      .Nest(NL80211_ATTR_STA_INFO, MakeStationInformation(station));
}

bool StationMessages::IsAlike(const FakeKernel::Station& station) const {
  return station.signal == station_.signal && station.tx_rate == station_.tx_rate &&
         station.rx_rate == station_.rx_rate && station.has_rx_rate == station_.has_rx_rate &&
         station.has_statistics == station_.has_statistics &&
         station.signal_average.has_value() == station_.signal_average.has_value();
}

std::span<const std::uint8_t> StationMessages::Make(const FakeKernel::Station& station) {
  if (message_.empty() || !IsAlike(station)) {
    MakeAnew(station);
    return message_;
  }
  std::ranges::copy(station.address, message_.data() + address_offset_);
  if (station.signal_average) {
    message_[signal_offset_] = static_cast<std::uint8_t>(*station.signal_average);
  }
  const nl80211_sta_flag_update flags = {kKnownFlags, station.flags};
  std::memcpy(message_.data() + flags_offset_, &flags, sizeof(flags));
  return message_;
}

void StationMessages::MakeAnew(const FakeKernel::Station& station) {
  station_ = station;
  message_ = MakeGenericMessage(header_, NL80211_CMD_NEW_STATION,
                                MakeStationRecord(interface_index_, station));
  const std::span<const std::uint8_t> message = message_;
  const platform::AttributeList record(message.subspan(NLMSG_HDRLEN + GENL_HDRLEN));
  const platform::AttributeList information(record.Find(NL80211_ATTR_STA_INFO));
  address_offset_ = OffsetOf(record.Find(NL80211_ATTR_MAC), message_);
  signal_offset_ = OffsetOf(information.Find(NL80211_STA_INFO_SIGNAL_AVG), message_);
  flags_offset_ = OffsetOf(information.Find(NL80211_STA_INFO_STA_FLAGS), message_);
}

AttributeBuilder MakeMeshPathRecord(std::uint32_t interface_index,
                                    const FakeKernel::MeshPath& path) {
  return AttributeBuilder()
      .U32(NL80211_ATTR_IFINDEX, interface_index)
      .Raw(NL80211_ATTR_MAC, path.destination)
      .Raw(NL80211_ATTR_MPATH_NEXT_HOP, path.next_hop)
      .U32(NL80211_ATTR_GENERATION, kGeneration)
      .Nest(NL80211_ATTR_MPATH_INFO,
            AttributeBuilder()
                .U32(NL80211_MPATH_INFO_FRAME_QLEN, path.frame_queue_length)
                .U32(NL80211_MPATH_INFO_METRIC, path.metric)
                .U8(NL80211_MPATH_INFO_FLAGS, path.flags));
}

// The nest is empty, since a proxy path has only its two addresses.
AttributeBuilder MakeMeshProxyPathRecord(std::uint32_t interface_index,
                                         const FakeKernel::MeshProxyPath& path) {
  return AttributeBuilder()
      .U32(NL80211_ATTR_IFINDEX, interface_index)
      .Raw(NL80211_ATTR_MAC, path.destination)
      .Raw(NL80211_ATTR_MPATH_NEXT_HOP, path.proxy)
      .U32(NL80211_ATTR_GENERATION, kGeneration)
      .Nest(NL80211_ATTR_MPATH_INFO, AttributeBuilder());
}

}  // namespace orvane::simulation
