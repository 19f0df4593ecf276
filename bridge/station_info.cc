#include "bridge/station_info.h"

#include <linux/nl80211.h>

namespace orvane::bridge {
namespace {

using platform::AttributeList;

// The kernel reports rates in units of 100 kbit/s.
constexpr std::int64_t kKbpsPerStep = 100;

struct WidthRow {
  int flag;
  int mhz;
};

// 80+80 MHz counts as 160 for rates.
constexpr WidthRow kWidths[] = {
    {NL80211_RATE_INFO_5_MHZ_WIDTH, 5},     {NL80211_RATE_INFO_10_MHZ_WIDTH, 10},
    {NL80211_RATE_INFO_40_MHZ_WIDTH, 40},   {NL80211_RATE_INFO_80_MHZ_WIDTH, 80},
    {NL80211_RATE_INFO_160_MHZ_WIDTH, 160}, {NL80211_RATE_INFO_80P80_MHZ_WIDTH, 160},
    {NL80211_RATE_INFO_320_MHZ_WIDTH, 320},
};
constexpr int kDefaultWidthMhz = 20;  // for a rate without a width flag

// Returns nothing if the station used only a part of the channel.
std::optional<int> ReadBandwidth(const AttributeList& rate) {
  if (rate.Find(NL80211_RATE_INFO_HE_RU_ALLOC) || rate.Find(NL80211_RATE_INFO_EHT_RU_ALLOC)) {
    return std::nullopt;
  }
  for (const WidthRow& row : kWidths) {
    if (rate.HasFlag(row.flag)) return row.mhz;
  }
  return kDefaultWidthMhz;
}

std::optional<std::int64_t> ReadKbps(const AttributeList& rate) {
  if (const auto steps = rate.Get<std::uint32_t>(NL80211_RATE_INFO_BITRATE32)) {
    return *steps * kKbpsPerStep;
  }
  // Zero if the rate does not fit into 16 bits.
  const auto steps = rate.Get<std::uint16_t>(NL80211_RATE_INFO_BITRATE);
  if (!steps.has_value() || *steps == 0) return std::nullopt;
  return *steps * kKbpsPerStep;
}

TransmitRate ReadTransmitRate(const AttributeList& attributes) {
  TransmitRate rate;
  rate.kbps = ReadKbps(attributes);
  // Without a rate the flags are meaningless.
  if (!rate.kbps.has_value()) return rate;
  rate.bandwidth_mhz = ReadBandwidth(attributes);
  rate.ht_mcs = attributes.Get<std::uint8_t>(NL80211_RATE_INFO_MCS);
  rate.vht_mcs = attributes.Get<std::uint8_t>(NL80211_RATE_INFO_VHT_MCS);
  rate.vht_nss = attributes.Get<std::uint8_t>(NL80211_RATE_INFO_VHT_NSS);
  if (rate.ht_mcs.has_value() || rate.vht_mcs.has_value()) {
    rate.short_guard_interval = attributes.HasFlag(NL80211_RATE_INFO_SHORT_GI);
  }
  return rate;
}

// mac80211 reports 0 until it has received a frame with a signal.
std::optional<int> ReadSignal(const AttributeList& station_info, int type) {
  const auto signal = station_info.Get<std::int8_t>(type);
  return signal != 0 ? signal : std::nullopt;
}

}  // namespace

StationInfo ReadStationInfo(const AttributeList& station_info) {
  StationInfo info;
  info.signal = ReadSignal(station_info, NL80211_STA_INFO_SIGNAL);
  info.signal_average = ReadSignal(station_info, NL80211_STA_INFO_SIGNAL_AVG);
  info.transmit_rate =
      ReadTransmitRate(AttributeList(station_info.Find(NL80211_STA_INFO_TX_BITRATE)));
  return info;
}

}  // namespace orvane::bridge
