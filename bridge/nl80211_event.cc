#include "bridge/nl80211_event.h"

#include <linux/nl80211.h>

#include <cstddef>
#include <span>

#include "platform/byte_string.h"

namespace orvane::bridge {
namespace {

using platform::AttributeList;

using Content = decltype(Nl80211Event::content);
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kAddressLength = 6;

// Layout of an EAPOL-Key frame, as offsets from the start of its Ethernet header.
constexpr std::size_t kEtherTypeOffset = 12;
constexpr std::size_t kPacketTypeOffset = 15;
constexpr std::size_t kKeyInformationOffset = 19;
constexpr std::size_t kEapolKeyLength = 21;
constexpr unsigned kEtherTypeEapol = 0x888e;
constexpr std::uint8_t kPacketTypeKey = 3;

constexpr unsigned kKeyTypePairwise = 0x0008;
constexpr unsigned kKeyAck = 0x0080;  // set by the authenticator
constexpr unsigned kKeyMic = 0x0100;

std::optional<ap::MacAddress> ReadAddress(Bytes bytes) {
  if (bytes.size() != kAddressLength) return std::nullopt;
  return ap::MacAddress(platform::ByteString(bytes));
}

unsigned BigEndian16(Bytes bytes, std::size_t offset) {
  return static_cast<unsigned>(bytes[offset] << 8 | bytes[offset + 1]);
}

EapolMessage MessageOf(Bytes frame) {
  if (frame.size() < kEapolKeyLength || frame[kPacketTypeOffset] != kPacketTypeKey) {
    return EapolMessage::kOther;
  }
  const unsigned information = BigEndian16(frame, kKeyInformationOffset);
  if ((information & kKeyTypePairwise) == 0 || (information & kKeyAck) == 0) {
    return EapolMessage::kOther;
  }
  return (information & kKeyMic) == 0 ? EapolMessage::kPairwise1 : EapolMessage::kPairwise3;
}

std::optional<Content> ReadFrameSent(const AttributeList& attributes) {
  const auto frame = ParseManagementFrame(attributes.Find(NL80211_ATTR_FRAME).payload());
  if (!frame.has_value()) return std::nullopt;
  return FrameSent{*frame, attributes.HasFlag(NL80211_ATTR_ACK)};
}

std::optional<Content> ReadEapolSent(const AttributeList& attributes) {
  const Bytes frame = attributes.Find(NL80211_ATTR_FRAME).payload();
  if (frame.size() < kEtherTypeOffset + 2) return std::nullopt;
  if (BigEndian16(frame, kEtherTypeOffset) != kEtherTypeEapol) return std::nullopt;
  return EapolSent{*ReadAddress(frame.first(kAddressLength)), MessageOf(frame)};
}

std::optional<Content> ReadStationRemoved(const AttributeList& attributes) {
  const auto station = ReadAddress(attributes.Find(NL80211_ATTR_MAC).payload());
  if (!station.has_value()) return std::nullopt;
  const AttributeList info(attributes.Find(NL80211_ATTR_STA_INFO));
  return StationRemoved{*station, ReadStationInfo(info)};
}

std::optional<Content> ReadContent(std::uint8_t command, const AttributeList& attributes) {
  switch (command) {
    case NL80211_CMD_FRAME_TX_STATUS:
      return ReadFrameSent(attributes);
    case NL80211_CMD_CONTROL_PORT_FRAME_TX_STATUS:
      return ReadEapolSent(attributes);
    case NL80211_CMD_DEL_STATION:
      return ReadStationRemoved(attributes);
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<Nl80211Event> ParseNl80211Event(const platform::GenericNetlinkMessage& message) {
  const AttributeList& attributes = *message.const_attributes();
  const auto interface_index = attributes.Get<std::uint32_t>(NL80211_ATTR_IFINDEX);
  if (!interface_index.has_value()) return std::nullopt;
  std::optional<Content> content = ReadContent(message.command(), attributes);
  if (!content.has_value()) return std::nullopt;
  return Nl80211Event{*interface_index, *std::move(content)};
}

}  // namespace orvane::bridge
