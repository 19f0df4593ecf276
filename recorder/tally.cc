#include "recorder/tally.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "platform/metrics_text.h"
#include "recorder/metric_names.h"

namespace orvane::recorder {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using access_infrastructure::proto::ClientProbeRequestInfo;
using platform::MetricLabel;

std::string InterfaceLabel(const std::string& interface) {
  return MetricLabel("interface", interface);
}

std::string EventLabels(const std::string& interface, const ClientEventInfo& event) {
  const std::string type =
      event.has_event_type() ? ClientEventInfo::ClientEventType_Name(event.event_type()) : "";
  const std::string reason =
      event.has_event_reason() ? ClientEventInfo::ClientEventReason_Name(event.event_reason()) : "";
  const char* success = event.is_event_success() ? "true" : "false";
  return fmt::format("{},{},{},{}", InterfaceLabel(interface), MetricLabel("type", type),
                     MetricLabel("success", event.has_is_event_success() ? success : ""),
                     MetricLabel("reason", reason));
}

// Returns the client's signal. The view signal_distribution of the database uses the same rule.
std::optional<std::int32_t> SignalOf(const ClientEventInfo& event) {
  if (event.has_average_rssi_in_dbm()) return event.average_rssi_in_dbm();
  if (event.has_rssi_in_dbm()) return event.rssi_in_dbm();
  if (event.has_event_frame_rssi_in_dbm()) return event.event_frame_rssi_in_dbm();
  return std::nullopt;
}

}  // namespace

void Tally::AddRecord(std::string_view type, std::size_t size) {
  ++counts_[{kRecordsTotal, MetricLabel("type", type)}];
  counts_[{kRecordBytesTotal, ""}] += static_cast<std::int64_t>(size);
}

void Tally::AddError(std::string_view kind) {
  ++counts_[{kErrorsTotal, MetricLabel("kind", kind)}];
}

void Tally::AddEntry(const std::string& interface, const ClientEventInfo& event) {
  ++counts_[{kClientEventsTotal, EventLabels(interface, event)}];
  const std::optional<std::int32_t> signal = SignalOf(event);
  if (!signal.has_value()) return;
  Histogram& histogram = signals_[interface];
  const auto* bound = std::ranges::lower_bound(kSignalBounds, *signal);
  ++histogram.counts[static_cast<std::size_t>(bound - kSignalBounds.begin())];
  histogram.sum += *signal;
}

void Tally::AddEntry(const std::string& interface, const ClientProbeRequestInfo& /*report*/) {
  ++counts_[{kProbeReportsTotal, InterfaceLabel(interface)}];
}

std::vector<std::pair<Tally::Key, std::int64_t>> Tally::Counts() const {
  std::vector<std::pair<Key, std::int64_t>> counts(counts_.begin(), counts_.end());
  for (const auto& [interface, histogram] : signals_) {
    const std::string label = InterfaceLabel(interface);
    std::int64_t count = 0;
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
      count += histogram.counts[i];
      const std::string bound =
          i < kSignalBounds.size() ? std::to_string(kSignalBounds[i]) : "+Inf";
      counts.push_back({{kSignalBuckets, label + "," + MetricLabel("le", bound)}, count});
    }
    counts.push_back({{kSignalSum, label}, histogram.sum});
    counts.push_back({{kSignalCount, label}, count});
  }
  return counts;
}

}  // namespace orvane::recorder
