#include "bridge/event_line.h"

#include <fmt/format.h>

#include <chrono>
#include <iterator>

#include "common/event_names.h"

namespace orvane::bridge {
namespace {

// hostapd's message level MSG_INFO. It is not a syslog priority.
constexpr std::string_view kPriority = "<3>";

std::int64_t Milliseconds(platform::TimeSpan span) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(span).count();
}

// Appends " name:value" for each value that is present.
class Attributes {
 public:
  explicit Attributes(std::string* line) : line_(*line) {}

  template <typename Value>
  void Add(std::string_view name, const Value& value) {
    fmt::format_to(std::back_inserter(line_), " {}:{}", name, value);
  }
  template <typename Value>
  void Add(std::string_view name, const std::optional<Value>& value) {
    if (value.has_value()) Add(name, *value);
  }
  void Add(std::string_view name, const std::optional<bool>& value) {
    if (value.has_value()) Add(name, *value ? 1 : 0);
  }
  void Add(std::string_view name, const std::optional<platform::TimeSpan>& value) {
    if (value.has_value()) Add(name, Milliseconds(*value));
  }
  void Add(std::string_view name, std::string_view word) {
    if (!word.empty()) Add<std::string_view>(name, word);
  }

 private:
  std::string& line_;
};

void AddStation(const StationInfo& station, Attributes* attributes) {
  attributes->Add("avg_rssi", station.signal_average);
  attributes->Add("last_rx_rssi", station.signal);
  const TransmitRate& rate = station.transmit_rate;
  attributes->Add("tx_rate_kbps", rate.kbps);
  attributes->Add("tx_rate_bw", rate.bandwidth_mhz);
  attributes->Add("tx_rate_mcs", rate.ht_mcs);
  attributes->Add("tx_rate_vht_mcs", rate.vht_mcs);
  attributes->Add("tx_rate_vht_nss", rate.vht_nss);
  attributes->Add("tx_rate_sgi", rate.short_guard_interval);
}

std::string_view EventName(LineKind kind) {
  switch (kind) {
    case LineKind::kAuthentication:
      return ap::kEventAuth;
    case LineKind::kAssociation:
      return ap::kEventAssoc;
    case LineKind::kConnect:
      return ap::kEventConnect;
    case LineKind::kDisconnect:
      return ap::kEventDisconnect;
    case LineKind::kProbe:
      return ap::kEventMonitorInfo;
  }
  return "";
}

}  // namespace

std::string FormatEventLine(LineKind kind, const ap::MacAddress& station,
                            const LineAttributes& values) {
  const std::string mac = station.ToString();
  std::string line = fmt::format("{}{} {}", kPriority, EventName(kind), mac);
  Attributes attributes(&line);
  if (values.time.has_value()) {
    attributes.Add("timestamp", Milliseconds(values.time->time_since_epoch()));
    attributes.Add("client_mac", std::string_view(mac));
  }
  attributes.Add("success", values.success);
  attributes.Add("event_reason", values.event_reason);
  attributes.Add("frame_status", values.frame_status);
  attributes.Add("frame_rssi", values.frame_rssi);
  AddStation(values.station, &attributes);
  attributes.Add("steering_reason", std::string_view(values.is_steered ? "steered" : ""));
  attributes.Add("probe_delta_ms", values.since_probe);
  attributes.Add("steer_delta_ms", values.since_steering);
  return line;
}

}  // namespace orvane::bridge
