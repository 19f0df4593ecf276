#ifndef OPTIMIZER_NL80211_STATION_H_
#define OPTIMIZER_NL80211_STATION_H_

#include <cstdint>
#include <string_view>

#include "common/mac_address.h"
#include "platform/netlink/attribute_list.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

// A view of one station entry of the kernel. The message must outlive the view. The constructor
// aborts if the entry lacks the station information, a receive or transmit rate, or the flags.
// Reading a missing address, interface index or byte count aborts too. Any other missing value is
// 0.
class Nl80211Station {
 public:
  explicit Nl80211Station(const platform::GenericNetlinkMessage& message);

  // Returns whether the message has what the constructor and GetMacAddress require.
  static bool IsComplete(const platform::GenericNetlinkMessage& message);

  Nl80211Station(const Nl80211Station&) = delete;
  Nl80211Station& operator=(const Nl80211Station&) = delete;
  virtual ~Nl80211Station() = default;

  virtual MacAddress GetMacAddress() const;
  virtual std::uint64_t GetTxBytes() const;
  virtual std::uint64_t GetRxBytes() const;

  std::uint32_t GetInterfaceIndex() const;
  // Milliseconds since the last frame of the station.
  std::uint32_t GetInactiveTime() const;
  // In seconds.
  std::uint32_t GetConnectedTime() const;
  std::uint32_t GetRxPackets() const;
  std::uint32_t GetTxPackets() const;
  std::uint32_t GetTxFailed() const;

  // In dBm: of the last frame, and the average.
  std::int8_t GetSignal() const;
  std::int8_t GetSignalAverage() const;

  bool IsAuthorized() const;
  bool IsShortPreamble() const;
  bool IsWme() const;
  bool IsMfp() const;
  bool IsTdlsPeer() const;

  // The transmit and receive rates. Bitrates are in kbit/s, channel widths in MHz. The mode is "HT"
  // for an HT rate other than MCS 0 and "VHT" for everything else. The guard interval is "short" or
  // "long".
  std::uint64_t GetTxBitrate() const;
  std::uint8_t GetTxMcs() const;
  std::string_view GetTxMode() const;
  std::string_view GetTxGuardInterval() const;
  std::uint8_t GetTxNss() const;
  std::uint32_t GetTxChannelWidth() const;
  std::uint64_t GetRxBitrate() const;
  std::uint8_t GetRxMcs() const;
  std::string_view GetRxMode() const;
  std::string_view GetRxGuardInterval() const;
  std::uint8_t GetRxNss() const;
  std::uint32_t GetRxChannelWidth() const;

 private:
  // The kernel's layout.
  struct StationFlags {
    std::uint32_t mask = 0;
    std::uint32_t set = 0;
  };

  bool HasFlag(int flag) const;

  const platform::GenericNetlinkMessage* message_;
  // Absent if the message lacks them.
  platform::Attribute mac_address_;
  platform::Attribute signal_average_;
  platform::AttributeList station_information_;
  platform::AttributeList tx_rate_information_;
  platform::AttributeList rx_rate_information_;
  StationFlags station_flags_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_STATION_H_
