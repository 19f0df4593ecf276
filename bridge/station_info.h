#ifndef BRIDGE_STATION_INFO_H_
#define BRIDGE_STATION_INFO_H_

#include <cstdint>
#include <optional>

#include "platform/netlink/attribute_list.h"

namespace orvane::bridge {

// The rate from the access point to a station. What the kernel does not report is absent.
struct TransmitRate {
  std::optional<std::int64_t> kbps = std::nullopt;
  std::optional<int> bandwidth_mhz = std::nullopt;
  std::optional<int> ht_mcs = std::nullopt;
  std::optional<int> vht_mcs = std::nullopt;
  std::optional<int> vht_nss = std::nullopt;
  // For HT and VHT rates only: legacy rates have no guard interval, and later modes have other
  // ones.
  std::optional<bool> short_guard_interval = std::nullopt;

  friend bool operator==(const TransmitRate&, const TransmitRate&) = default;
};

// The kernel's information about a station. Signals are in dBm.
struct StationInfo {
  std::optional<int> signal = std::nullopt;  // of the last frame
  std::optional<int> signal_average = std::nullopt;
  TransmitRate transmit_rate;

  friend bool operator==(const StationInfo&, const StationInfo&) = default;
};

// Parses the nest NL80211_ATTR_STA_INFO. An attribute of the wrong size counts as absent.
StationInfo ReadStationInfo(const platform::AttributeList& station_info);

}  // namespace orvane::bridge

#endif  // BRIDGE_STATION_INFO_H_
