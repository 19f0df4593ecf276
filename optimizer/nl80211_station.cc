#include "optimizer/nl80211_station.h"

#include <linux/nl80211.h>

#include <algorithm>
#include <cstdint>

#include "optimizer/nl80211_message.h"
#include "platform/byte_string.h"
#include "platform/logging.h"

namespace orvane::ap {

using platform::Attribute;
using platform::AttributeList;
using platform::ByteString;

namespace {

// The kernel reports rates in units of 100 kbit/s.
std::uint64_t GetBitrate(const AttributeList& rate) {
  return std::uint64_t{rate.Get<std::uint32_t>(NL80211_RATE_INFO_BITRATE32).value_or(0)} * 100;
}

// A rate has at most one of the two attributes.
std::uint8_t GetMcs(const AttributeList& rate) {
  return static_cast<std::uint8_t>(rate.Get<std::uint8_t>(NL80211_RATE_INFO_MCS).value_or(0) +
                                   rate.Get<std::uint8_t>(NL80211_RATE_INFO_VHT_MCS).value_or(0));
}

std::string_view GetMode(const AttributeList& rate) {
  return rate.Get<std::uint8_t>(NL80211_RATE_INFO_MCS).value_or(0) != 0 ? "HT" : "VHT";
}

std::string_view GetGuardInterval(const AttributeList& rate) {
  return rate.HasFlag(NL80211_RATE_INFO_SHORT_GI) ? "short" : "long";
}

std::uint8_t GetNss(const AttributeList& rate) {
  return rate.Get<std::uint8_t>(NL80211_RATE_INFO_VHT_NSS).value_or(0);
}

struct WidthRow {
  int flag;
  std::uint32_t width;
};

// The first flag that is set counts. 80+80 MHz is not in the table and is reported as 20.
constexpr WidthRow kWidths[] = {
    {NL80211_RATE_INFO_5_MHZ_WIDTH, 5},     {NL80211_RATE_INFO_10_MHZ_WIDTH, 10},
    {NL80211_RATE_INFO_40_MHZ_WIDTH, 40},   {NL80211_RATE_INFO_80_MHZ_WIDTH, 80},
    {NL80211_RATE_INFO_160_MHZ_WIDTH, 160},
};
constexpr std::uint32_t kDefaultWidth = 20;

std::uint32_t GetChannelWidth(const AttributeList& rate) {
  for (const WidthRow& row : kWidths) {
    if (rate.HasFlag(row.flag)) return row.width;
  }
  return kDefaultWidth;
}

// The attributes that are read from the message and its station information.
struct StationAttributes {
  Attribute mac_address;
  Attribute station_information;
  Attribute tx_rate;
  Attribute rx_rate;
  Attribute flags;
  Attribute signal_average;
};

// If a type is repeated, the first attribute counts, as in AttributeList::Find.
void Note(const Attribute& attribute, Attribute* found) {
  if (!*found) *found = attribute;
}

void ReadStationInformation(const AttributeList& list, StationAttributes* found) {
  for (const Attribute& attribute : list) {
    switch (attribute.type()) {
      case NL80211_STA_INFO_TX_BITRATE:
        Note(attribute, &found->tx_rate);
        break;
      case NL80211_STA_INFO_RX_BITRATE:
        Note(attribute, &found->rx_rate);
        break;
      case NL80211_STA_INFO_STA_FLAGS:
        Note(attribute, &found->flags);
        break;
      case NL80211_STA_INFO_SIGNAL_AVG:
        Note(attribute, &found->signal_average);
        break;
      default:
        break;
    }
  }
}

StationAttributes ReadMessage(const platform::GenericNetlinkMessage& message) {
  StationAttributes found;
  for (const Attribute& attribute : *message.const_attributes()) {
    if (attribute.type() == NL80211_ATTR_MAC) Note(attribute, &found.mac_address);
    if (attribute.type() == NL80211_ATTR_STA_INFO) Note(attribute, &found.station_information);
  }
  ReadStationInformation(AttributeList(found.station_information), &found);
  return found;
}

struct RequiredAttribute {
  bool (*is_there)(const StationAttributes& found);
  const char* condition;
};

// In the order of the checks.
constexpr RequiredAttribute kRequiredAttributes[] = {
    {[](const StationAttributes& found) { return bool{found.station_information}; },
     "message_->const_attributes()->ConstGetNestedAttributeList( "
     "NL80211_ATTR_STA_INFO, &station_information_)"},
    {[](const StationAttributes& found) { return bool{found.tx_rate}; },
     "station_information_->ConstGetNestedAttributeList( "
     "NL80211_STA_INFO_TX_BITRATE, &tx_rate_information_)"},
    {[](const StationAttributes& found) { return bool{found.rx_rate}; },
     "station_information_->ConstGetNestedAttributeList( "
     "NL80211_STA_INFO_RX_BITRATE, &rx_rate_information_)"},
    {[](const StationAttributes& found) { return found.flags.As<std::uint64_t>().has_value(); },
     "station_information_->GetU64AttributeValue( NL80211_STA_INFO_STA_FLAGS, "
     "reinterpret_cast<uint64_t *>(&station_flags_))"},
};

}  // namespace

Nl80211Station::Nl80211Station(const platform::GenericNetlinkMessage& message)
    : message_(&message) {
  const StationAttributes found = ReadMessage(message);
  for (const RequiredAttribute& required : kRequiredAttributes) {
    CHECK_TEXT(required.is_there(found), required.condition);
  }
  mac_address_ = found.mac_address;
  signal_average_ = found.signal_average;
  station_information_ = AttributeList(found.station_information);
  tx_rate_information_ = AttributeList(found.tx_rate);
  rx_rate_information_ = AttributeList(found.rx_rate);
  station_flags_ = found.flags.As<StationFlags>().value_or(StationFlags{});
}

bool Nl80211Station::IsComplete(const platform::GenericNetlinkMessage& message) {
  const StationAttributes found = ReadMessage(message);
  MacAddress address;
  return MacAddress::ParseFromByteString(ByteString(found.mac_address.payload()), &address) &&
         std::ranges::all_of(kRequiredAttributes, [&found](const RequiredAttribute& required) {
           return required.is_there(found);
         });
}

MacAddress Nl80211Station::GetMacAddress() const {
  CHECK_TEXT(mac_address_,
             "message_->const_attributes()->GetRawAttributeValue( NL80211_ATTR_MAC, &address)");
  return MacAddress(ByteString(mac_address_.payload()));
}

std::uint64_t Nl80211Station::GetTxBytes() const {
  const auto bytes = station_information_.Get<std::uint64_t>(NL80211_STA_INFO_TX_BYTES64);
  CHECK_TEXT(bytes.has_value(),
             "station_information_->GetU64AttributeValue( NL80211_STA_INFO_TX_BYTES64, &bytes)");
  return *bytes;
}

std::uint64_t Nl80211Station::GetRxBytes() const {
  const auto bytes = station_information_.Get<std::uint64_t>(NL80211_STA_INFO_RX_BYTES64);
  CHECK_TEXT(bytes.has_value(),
             "station_information_->GetU64AttributeValue( NL80211_STA_INFO_RX_BYTES64, &bytes)");
  return *bytes;
}

std::uint32_t Nl80211Station::GetInterfaceIndex() const { return ap::GetInterfaceIndex(*message_); }

std::uint32_t Nl80211Station::GetInactiveTime() const {
  return station_information_.Get<std::uint32_t>(NL80211_STA_INFO_INACTIVE_TIME).value_or(0);
}

std::uint32_t Nl80211Station::GetConnectedTime() const {
  return station_information_.Get<std::uint32_t>(NL80211_STA_INFO_CONNECTED_TIME).value_or(0);
}

std::uint32_t Nl80211Station::GetRxPackets() const {
  return station_information_.Get<std::uint32_t>(NL80211_STA_INFO_RX_PACKETS).value_or(0);
}

std::uint32_t Nl80211Station::GetTxPackets() const {
  return station_information_.Get<std::uint32_t>(NL80211_STA_INFO_TX_PACKETS).value_or(0);
}

std::uint32_t Nl80211Station::GetTxFailed() const {
  return station_information_.Get<std::uint32_t>(NL80211_STA_INFO_TX_FAILED).value_or(0);
}

std::int8_t Nl80211Station::GetSignal() const {
  return station_information_.Get<std::int8_t>(NL80211_STA_INFO_SIGNAL).value_or(0);
}

std::int8_t Nl80211Station::GetSignalAverage() const {
  return signal_average_.As<std::int8_t>().value_or(0);
}

bool Nl80211Station::HasFlag(int flag) const { return (station_flags_.set >> flag & 1U) != 0; }

bool Nl80211Station::IsAuthorized() const { return HasFlag(NL80211_STA_FLAG_AUTHORIZED); }
bool Nl80211Station::IsShortPreamble() const { return HasFlag(NL80211_STA_FLAG_SHORT_PREAMBLE); }
bool Nl80211Station::IsWme() const { return HasFlag(NL80211_STA_FLAG_WME); }
bool Nl80211Station::IsMfp() const { return HasFlag(NL80211_STA_FLAG_MFP); }
bool Nl80211Station::IsTdlsPeer() const { return HasFlag(NL80211_STA_FLAG_TDLS_PEER); }

std::uint64_t Nl80211Station::GetTxBitrate() const { return GetBitrate(tx_rate_information_); }
std::uint8_t Nl80211Station::GetTxMcs() const { return GetMcs(tx_rate_information_); }
std::string_view Nl80211Station::GetTxMode() const { return GetMode(tx_rate_information_); }
std::string_view Nl80211Station::GetTxGuardInterval() const {
  return GetGuardInterval(tx_rate_information_);
}
std::uint8_t Nl80211Station::GetTxNss() const { return GetNss(tx_rate_information_); }
std::uint32_t Nl80211Station::GetTxChannelWidth() const {
  return GetChannelWidth(tx_rate_information_);
}

std::uint64_t Nl80211Station::GetRxBitrate() const { return GetBitrate(rx_rate_information_); }
std::uint8_t Nl80211Station::GetRxMcs() const { return GetMcs(rx_rate_information_); }
std::string_view Nl80211Station::GetRxMode() const { return GetMode(rx_rate_information_); }
std::string_view Nl80211Station::GetRxGuardInterval() const {
  return GetGuardInterval(rx_rate_information_);
}
std::uint8_t Nl80211Station::GetRxNss() const { return GetNss(rx_rate_information_); }
std::uint32_t Nl80211Station::GetRxChannelWidth() const {
  return GetChannelWidth(rx_rate_information_);
}

}  // namespace orvane::ap
