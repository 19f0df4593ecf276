#include "bench/station_floor.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace orvane::bench {
namespace {

using Bytes = std::span<const std::uint8_t>;

// Calls `take(type, payload)` for each attribute.
template <typename Take>
void Walk(Bytes bytes, Take take) {
  nlattr header;
  while (bytes.size() >= sizeof(header)) {
    std::memcpy(&header, bytes.data(), sizeof(header));
    if (header.nla_len < sizeof(header) || header.nla_len > bytes.size()) return;
    take(header.nla_type & NLA_TYPE_MASK,
         bytes.subspan(sizeof(header), header.nla_len - sizeof(header)));
    bytes = bytes.subspan(std::min<std::size_t>(NLA_ALIGN(header.nla_len), bytes.size()));
  }
}

struct Wanted {
  bool has_rates = false;
  std::uint64_t flags = 0;
  std::int8_t signal = 0;
};

Wanted ReadInformation(Bytes information) {
  Wanted wanted;
  int rates = 0;
  Walk(information, [&](int type, Bytes payload) {
    if (type == NL80211_STA_INFO_TX_BITRATE || type == NL80211_STA_INFO_RX_BITRATE) {
      ++rates;
    } else if (type == NL80211_STA_INFO_STA_FLAGS && payload.size() == sizeof(wanted.flags)) {
      std::memcpy(&wanted.flags, payload.data(), sizeof(wanted.flags));
    } else if (type == NL80211_STA_INFO_SIGNAL_AVG && payload.size() == 1) {
      wanted.signal = static_cast<std::int8_t>(payload[0]);
    }
  });
  wanted.has_rates = rates == 2;
  return wanted;
}

}  // namespace

void StationFloor::Take(Bytes datagram) {
  nlmsghdr header;
  while (datagram.size() >= sizeof(header)) {
    std::memcpy(&header, datagram.data(), sizeof(header));
    if (header.nlmsg_len < sizeof(header) + GENL_HDRLEN || header.nlmsg_len > datagram.size()) {
      return;
    }
    constexpr std::size_t kHeaders = sizeof(header) + GENL_HDRLEN;
    TakeStation(datagram.subspan(kHeaders, header.nlmsg_len - kHeaders));
    datagram =
        datagram.subspan(std::min<std::size_t>(NLMSG_ALIGN(header.nlmsg_len), datagram.size()));
  }
}

void StationFloor::TakeStation(Bytes attributes) {
  Bytes address;
  Wanted wanted;
  Walk(attributes, [&](int type, Bytes payload) {
    if (type == NL80211_ATTR_MAC) address = payload;
    if (type == NL80211_ATTR_STA_INFO) wanted = ReadInformation(payload);
  });
  const bool is_authorized = (wanted.flags >> 32 >> NL80211_STA_FLAG_AUTHORIZED & 1) != 0;
  if (wanted.has_rates && is_authorized && address.size() == 6) Decide(address, wanted.signal);
}

void StationFloor::Decide(Bytes address, std::int8_t signal) {
  constexpr std::uint8_t kFloor = 30;
  std::array<std::uint8_t, 6> key;
  std::copy(address.begin(), address.end(), key.begin());
  State& state = stations_[key];
  state.last_seen = ++count_;
  state.metric = static_cast<std::uint8_t>(std::clamp(signal + 100, 0, 100));
  if (state.metric < kFloor) ++poor_;
}

}  // namespace orvane::bench
