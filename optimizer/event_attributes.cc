#include "optimizer/event_attributes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "platform/logging.h"

namespace orvane::ap {
namespace {

using Info = access_infrastructure::proto::ClientEventInfo;
using Rate = access_infrastructure::proto::DataRateReport;
using Probe = access_infrastructure::proto::ClientProbeRequestInfo;
using Capabilities = access_infrastructure::proto::ClientCapabilities;

// Returns the row with this name, or null.
template <typename Row, std::size_t size>
const Row* FindRow(const std::array<Row, size>& table, std::string_view name) {
  const auto* const row = std::ranges::find(table, name, &Row::name);
  return row == table.end() ? nullptr : row;
}

// A word and its value of an enumeration.

template <typename Enum>
struct WordRow {
  std::string_view name;
  Enum value;
};

template <typename Enum, std::size_t size>
Enum FindWord(const std::array<WordRow<Enum>, size>& table, std::string_view word, Enum unknown) {
  const WordRow<Enum>* row = FindRow(table, word);
  return row != nullptr ? row->value : unknown;
}

// No word means DISCONNECT_STEER_CLIENT.
constexpr auto kEventReasons = std::to_array<WordRow<Info::ClientEventReason>>({
    {"reject_steer", Info::ASSOC_REJECT_STEER},
    {"from_client", Info::DISCONNECT_REQUEST_FROM_CLIENT},
    {"failed_to_add", Info::FAILED_TO_ADD_STA},
    {"no_ack", Info::NO_ACK},
    {"disassoc_cli", Info::DISCONNECT_DISASSOC_CLI},
    {"deauth_cli", Info::DISCONNECT_DEAUTH_CLI},
    {"bss_tm_cli", Info::REASON_BSS_TM_REQ_CLI},
    {"other_bss", Info::DISCONNECT_ASSOC_OTHER_BSS},
    {"iapp_notify", Info::DISCONNECT_IAPP_NOTIFY},
    {"low_ack", Info::DISCONNECT_LOW_ACK},
    {"inactivity", Info::DISCONNECT_INACTIVITY},
    {"wpa_auth", Info::DISCONNECT_WPA_AUTH},
    {"insufficient_entropy", Info::DISCONNECT_INSUFFICIENT_ENTROPY},
    {"incorrect_rsn_ie", Info::DISCONNECT_INCORRECT_RSN_IE},
    {"setkey_failure", Info::DISCONNECT_SET_KEY_FAILURE},
    {"eapol_m1_timeout", Info::DISCONNECT_EAPOL_M1_TIMEOUT},
    {"eapol_m3_timeout", Info::DISCONNECT_EAPOL_M3_TIMEOUT},
    {"gtk_m1_timeout", Info::DISCONNECT_GTK_M1_TIMEOUT},
    {"psk_mismatch", Info::DISCONNECT_PSK_MISMATCH},
});

constexpr auto kSteeringReasons = std::to_array<WordRow<Info::SteeringReason>>({
    {"steered", Info::STEER},
    {"target-interface", Info::NOSTEER_TARGET_INTERFACE},
    {"reassoc", Info::NOSTEER_REASSOC},
    {"new-station", Info::NOSTEER_NEW_STATION},
    {"deferred", Info::NOSTEER_DEFERRED},
    {"non-candidate", Info::NOSTEER_NON_CANDIDATE},
    {"weak-signal", Info::NOSTEER_WEAK_SIGNAL},
    {"recently-steered", Info::NOSTEER_RECENTLY_STEERED},
});

constexpr auto kModes = std::to_array<WordRow<Capabilities::HtVhtCapability>>({
    {"legacy", Capabilities::LEGACY},
    {"ht", Capabilities::HT},
    {"vht", Capabilities::VHT},
});

// Conversions of a value.

// Parses a plain number without copying. Returns false for all other texts (leading space or plus,
// out of range, not a number), which the standard conversions handle.
template <typename Number>
bool ReadInPlace(std::string_view text, Number* number) {
  return std::from_chars(text.data(), text.data() + text.size(), *number).ec == std::errc();
}

std::int32_t Int32(std::string_view text) {
  std::int32_t number = 0;
  return ReadInPlace(text, &number) ? number : std::stoi(std::string(text));
}

std::int64_t Int64(std::string_view text) {
  std::int64_t number = 0;
  return ReadInPlace(text, &number) ? number : std::stoll(std::string(text));
}

bool NotZero(std::string_view text) { return Int32(text) != 0; }
bool Zero(std::string_view text) { return Int32(text) == 0; }

Info::ClientEventReason EventReason(std::string_view word) {
  return FindWord(kEventReasons, word, Info::UNKNOWN_CLIENT_EVENT_REASON);
}

Info::SteeringReason SteeringReason(std::string_view word) {
  return FindWord(kSteeringReasons, word, Info::UNKNOWN_STEERING_REASON);
}

Capabilities::HtVhtCapability Mode(std::string_view word) {
  return FindWord(kModes, word, Capabilities::UNKNOWN);
}

// The setters of the tables below.

template <typename Message, typename Field, typename Value>
void SetField(Message* message, void (Message::*setter)(Field), Value value) {
  (message->*setter)(static_cast<Field>(value));
}

template <auto convert, auto setter>
void ToEvent(std::string_view value, StationIdGenerator* /*station_ids*/, Info* info) {
  SetField(info, setter, convert(value));
}

void ToClientShmac(std::string_view value, StationIdGenerator* station_ids, Info* info) {
  std::string id;
  if (station_ids->GenerateIdFromText(value, &id)) info->set_client_shmac(std::move(id));
}

template <auto convert, auto setter>
void ToDataRate(std::string_view value, Rate* rate) {
  SetField(rate, setter, convert(value));
}

template <auto convert, auto setter>
void ToProbe(std::string_view value, Probe* probe) {
  SetField(probe, setter, convert(value));
}

template <auto convert, auto setter>
void ToCapability(std::string_view value, Probe* probe) {
  SetField(probe->mutable_client_capability(), setter, convert(value));
}

struct EventRow {
  std::string_view name;
  void (*apply)(std::string_view value, StationIdGenerator* station_ids, Info* info);
};

constexpr auto kEventAttributes = std::to_array<EventRow>({
    {"timestamp", ToEvent<Int64, &Info::set_event_time_in_milliseconds>},
    {"success", ToEvent<NotZero, &Info::set_is_event_success>},
    {"client_mac", ToClientShmac},
    {"event_reason", ToEvent<EventReason, &Info::set_event_reason>},
    {"frame_status", ToEvent<Int32, &Info::set_frame_status_code>},
    {"frame_rssi", ToEvent<Int32, &Info::set_event_frame_rssi_in_dbm>},
    {"avg_rssi", ToEvent<Int32, &Info::set_average_rssi_in_dbm>},
    {"last_rx_rssi", ToEvent<Int32, &Info::set_rssi_in_dbm>},
    {"steering_reason", ToEvent<SteeringReason, &Info::set_steering_reason>},
    {"probe_delta_ms", ToEvent<Int64, &Info::set_probe_delta_in_milliseconds>},
    {"steer_delta_ms", ToEvent<Int64, &Info::set_steer_delta_in_milliseconds>},
});

constexpr std::string_view kDataRatePrefix = "tx_rate_";

struct DataRateRow {
  std::string_view name;
  void (*apply)(std::string_view value, Rate* rate);
};

// A rate has one of the two MCS attributes: HT or VHT.
constexpr auto kDataRateAttributes = std::to_array<DataRateRow>({
    {"tx_rate_kbps", ToDataRate<Int64, &Rate::set_bitrate_kbps>},
    {"tx_rate_mcs", ToDataRate<Int32, &Rate::set_mcs_index>},
    {"tx_rate_bw", ToDataRate<Int32, &Rate::set_bandwidth_mhz>},
    {"tx_rate_sgi", ToDataRate<Zero, &Rate::set_is_long_guard_interval>},
    {"tx_rate_vht_mcs", ToDataRate<Int32, &Rate::set_mcs_index>},
    {"tx_rate_vht_nss", ToDataRate<Int32, &Rate::set_number_of_spatial_streams>},
});

struct ProbeRow {
  std::string_view name;
  void (*apply)(std::string_view value, Probe* probe);
};

constexpr auto kProbeAttributes = std::to_array<ProbeRow>({
    {"frame_rssi", ToProbe<Int32, &Probe::set_probe_request_rssi_in_dbm>},
    {"nss", ToCapability<Int32, &Capabilities::set_number_of_spatial_streams>},
    {"mode", ToCapability<Mode, &Capabilities::set_ht_vht_capability>},
});

// Any attribute with the data-rate prefix creates the sub-message, even if its name is unknown.
void ApplyDataRateAttribute(const NameValuePair& attribute, Rate* rate) {
  const DataRateRow* row = FindRow(kDataRateAttributes, attribute.name);
  if (row != nullptr) row->apply(attribute.value, rate);
}

}  // namespace

std::optional<NameValuePair> ParseNameValuePair(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    LOG(INFO) << "Invalid name:value pair: " << text;
    return std::nullopt;
  }
  return NameValuePair{text.substr(0, colon), text.substr(colon + 1)};
}

void ApplyEventAttribute(const NameValuePair& attribute, StationIdGenerator* station_ids,
                         Info* info) {
  if (attribute.name.starts_with(kDataRatePrefix)) {
    ApplyDataRateAttribute(attribute, info->mutable_data_rate());
    return;
  }
  const EventRow* row = FindRow(kEventAttributes, attribute.name);
  if (row != nullptr) row->apply(attribute.value, station_ids, info);
}

void ApplyEventAttributes(HostapdAttributes attributes, StationIdGenerator* station_ids,
                          Info* info) {
  for (const std::string_view text : attributes) {
    const std::optional<NameValuePair> attribute = ParseNameValuePair(text);
    if (attribute.has_value()) ApplyEventAttribute(*attribute, station_ids, info);
  }
}

void ApplyProbeAttributes(HostapdAttributes attributes, Probe* probe) {
  for (const std::string_view text : attributes) {
    const std::optional<NameValuePair> attribute = ParseNameValuePair(text);
    if (!attribute.has_value()) continue;
    const ProbeRow* row = FindRow(kProbeAttributes, attribute->name);
    if (row != nullptr) row->apply(attribute->value, probe);
  }
}

}  // namespace orvane::ap
