#ifndef OPTIMIZER_NL80211_STATION_H_
#define OPTIMIZER_NL80211_STATION_H_

#include <cstdint>
#include <string_view>

#include "common/mac_address.h"
#include "platform/netlink/attribute_list.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::ap {

// One station as the kernel describes it: a view of the message, which must outlive it. It is fatal
// for the message to lack the station information, and in it the rates in both directions or the
// flags; and to ask for an address, an interface index or a byte count that is not there. Any other
// value that is absent is 0.
class Nl80211Station {
 public:
  explicit Nl80211Station(const platform::GenericNetlinkMessage& message);

  // Whether the message has what the constructor and GetMacAddress require.
  static bool IsComplete(const platform::GenericNetlinkMessage& message);

  Nl80211Station(const Nl80211Station&) = delete;
  Nl80211Station& operator=(const Nl80211Station&) = delete;
  virtual ~Nl80211Station() = default;

  virtual MacAddress GetMacAddress() const;
  virtual std::uint64_t GetTxBytes() const;
  virtual std::uint64_t GetRxBytes() const;

  std::uint32_t GetInterfaceIndex() const;
  // Since the station was last heard: milliseconds.
  std::uint32_t GetInactiveTime() const;
  // Seconds.
  std::uint32_t GetConnectedTime() const;
  std::uint32_t GetRxPackets() const;
  std::uint32_t GetTxPackets() const;
  std::uint32_t GetTxFailed() const;

  // Of the last frame and on average: dBm.
  std::int8_t GetSignal() const;
  std::int8_t GetSignalAverage() const;

  bool IsAuthorized() const;
  bool IsShortPreamble() const;
  bool IsWme() const;
  bool IsMfp() const;
  bool IsTdlsPeer() const;

  // The rate in each direction. Bitrates are in kbit/s, channel widths in MHz. The mode is "HT" for
  // an HT rate other than MCS 0 and "VHT" for everything else; the guard interval is "short" or
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
  // As the kernel lays them out.
  struct StationFlags {
    std::uint32_t mask = 0;
    std::uint32_t set = 0;
  };

  bool HasFlag(int flag) const;

  const platform::GenericNetlinkMessage* message_;
  // Found on the way to the nested lists; absent when it is not there.
  platform::Attribute mac_address_;
  platform::Attribute signal_average_;
  platform::AttributeList station_information_;
  platform::AttributeList tx_rate_information_;
  platform::AttributeList rx_rate_information_;
  StationFlags station_flags_;
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_NL80211_STATION_H_
