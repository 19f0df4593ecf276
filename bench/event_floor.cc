#include "bench/event_floor.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>

namespace orvane::bench {
namespace {

using Info = access_infrastructure::proto::ClientEventInfo;

constexpr std::size_t kPriorityLength = 3;  // "<3>"
constexpr std::size_t kAddressDigits = 12;

// Removes and returns the part before the separator.
std::string_view TakeUntil(char separator, std::string_view* text) {
  const std::size_t end = text->find(separator);
  const std::string_view token = text->substr(0, end);
  text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
  return token;
}

template <typename Number>
Number ToNumber(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::int32_t Int32(std::string_view text) { return ToNumber<std::int32_t>(text); }
std::int64_t Int64(std::string_view text) { return ToNumber<std::int64_t>(text); }

char LowerCase(char letter) { return static_cast<char>(letter | 0x20); }  // digits stay unchanged

void ApplyDataRate(std::string_view name, std::string_view value, Info* info) {
  auto* rate = info->mutable_data_rate();
  if (name == "tx_rate_kbps") return rate->set_bitrate_kbps(Int64(value));
  if (name == "tx_rate_mcs") return rate->set_mcs_index(Int32(value));
  if (name == "tx_rate_bw") return rate->set_bandwidth_mhz(Int32(value));
  if (name == "tx_rate_sgi") return rate->set_is_long_guard_interval(Int32(value) == 0);
  if (name == "tx_rate_vht_mcs") return rate->set_mcs_index(Int32(value));
  if (name == "tx_rate_vht_nss") return rate->set_number_of_spatial_streams(Int32(value));
}

// Handles the attributes of the measured events.
void Apply(std::string_view name, std::string_view value, Info* info) {
  if (name.starts_with("tx_rate_")) return ApplyDataRate(name, value, info);
  if (name == "timestamp") {
    return info->set_event_time_in_milliseconds(static_cast<std::uint64_t>(Int64(value)));
  }
  if (name == "success") return info->set_is_event_success(Int32(value) != 0);
  if (name == "frame_status") {
    return info->set_frame_status_code(static_cast<std::uint32_t>(Int32(value)));
  }
  if (name == "frame_rssi") return info->set_event_frame_rssi_in_dbm(Int32(value));
  if (name == "avg_rssi") return info->set_average_rssi_in_dbm(Int32(value));
  if (name == "last_rx_rssi") return info->set_rssi_in_dbm(Int32(value));
}

}  // namespace

EventFloor::EventFloor(std::string_view salt) {
  sha256_init(&salted_hash_);
  sha256_update(&salted_hash_, salt.size(), reinterpret_cast<const std::uint8_t*>(salt.data()));
}

void EventFloor::Take(std::string_view line, Event* batch) const {
  const std::string_view name = TakeUntil(' ', &line).substr(kPriorityLength);
  if (name != "AP-STA-CONNECT") return;
  Info* info = batch->add_client_event_info();
  info->set_event_type(Info::CONNECT);
  SetIdentifier(TakeUntil(' ', &line), info);
  while (!line.empty()) {
    std::string_view value = TakeUntil(' ', &line);
    const std::string_view attribute = TakeUntil(':', &value);
    Apply(attribute, value, info);
  }
}

void EventFloor::SetIdentifier(std::string_view mac, Info* info) const {
  std::array<std::uint8_t, kAddressDigits> text;
  std::size_t length = 0;
  for (const char letter : mac) {
    if (letter != ':' && length < text.size()) {
      text[length++] = static_cast<std::uint8_t>(LowerCase(letter));
    }
  }
  sha256_ctx hash = salted_hash_;
  sha256_update(&hash, length, text.data());
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
  sha256_digest(&hash, digest.size(), digest.data());

  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string* id = info->mutable_client_shmac();
  id->resize(2 * digest.size());
  for (std::size_t i = 0; i < digest.size(); ++i) {
    (*id)[2 * i] = kDigits[digest[i] >> 4];
    (*id)[2 * i + 1] = kDigits[digest[i] & 0xf];
  }
}

}  // namespace orvane::bench
