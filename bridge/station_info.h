#ifndef BRIDGE_STATION_INFO_H_
#define BRIDGE_STATION_INFO_H_

#include <cstdint>
#include <optional>

#include "platform/netlink/attribute_list.h"

namespace orvane::bridge {

// A rate at which the access point sends to a station. What the kernel does not report is absent.
struct TransmitRate {
  std::optional<std::int64_t> kbps = std::nullopt;
  std::optional<int> bandwidth_mhz = std::nullopt;
  std::optional<int> ht_mcs = std::nullopt;
  std::optional<int> vht_mcs = std::nullopt;
  std::optional<int> vht_nss = std::nullopt;
  // Of HT and VHT rates only: legacy rates have no guard interval, and later modes have others.
  std::optional<bool> short_guard_interval = std::nullopt;

  friend bool operator==(const TransmitRate&, const TransmitRate&) = default;
};

// What the kernel knows of a station. Signals in dBm.
struct StationInfo {
  std::optional<int> signal = std::nullopt;  // of the last frame
  std::optional<int> signal_average = std::nullopt;
  TransmitRate transmit_rate;

  friend bool operator==(const StationInfo&, const StationInfo&) = default;
};

// Reads the nest NL80211_ATTR_STA_INFO. An attribute of a wrong size counts as absent.
StationInfo ReadStationInfo(const platform::AttributeList& station_info);

}  // namespace orvane::bridge

#endif  // BRIDGE_STATION_INFO_H_
