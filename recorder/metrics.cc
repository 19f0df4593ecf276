#include "recorder/metrics.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/metrics_text.h"
#include "recorder/metric_names.h"

namespace orvane::recorder {
namespace {

using platform::MetricFamily;

struct Family {
  MetricFamily head;
  // Names of the samples.
  std::array<std::string_view, 3> names;
};

constexpr auto kFamilies = std::to_array<Family>({
    {{kClientEventsTotal, "counter", "Events of Wi-Fi clients."}, {kClientEventsTotal}},
    {{kProbeReportsTotal, "counter", "Probe requests of Wi-Fi clients."}, {kProbeReportsTotal}},
    {{kRecordsTotal, "counter", "Stored records."}, {kRecordsTotal}},
    {{kRecordBytesTotal, "counter", "Bytes of the stored records."}, {kRecordBytesTotal}},
    {{kErrorsTotal, "counter", "Failures with records."}, {kErrorsTotal}},
    {{kSignal, "histogram", "Signal of the client in its events, in dBm."},
     {kSignalBuckets, kSignalSum, kSignalCount}},
});

constexpr MetricFamily kLastRecord = {kLastRecordTimestamp, "gauge",
                                      "Time of the last record, in seconds since the Unix epoch."};

}  // namespace

std::string FormatMetrics(const Metrics& metrics) {
  platform::MetricsText text;
  for (const Family& family : kFamilies) {
    text.AddFamily(family.head);
    for (const auto& [key, count] : metrics.counts) {
      if (std::ranges::find(family.names, key.first) == family.names.end()) continue;
      text.AddSample(key.first, key.second, count);
    }
  }
  if (!metrics.last_record_ms.has_value()) return text.Take();
  text.AddFamily(kLastRecord);
  text.AddSample(kLastRecordTimestamp, "",
                 fmt::format("{:.3f}", static_cast<double>(*metrics.last_record_ms) / 1000));
  return text.Take();
}

}  // namespace orvane::recorder
