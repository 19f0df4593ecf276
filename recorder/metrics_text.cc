#include "recorder/metrics_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "recorder/metric_names.h"

namespace orvane::recorder {
namespace {

struct Family {
  std::string_view name;
  std::string_view type;
  std::string_view help;
  // Names of the samples.
  std::array<std::string_view, 3> names;
};

constexpr auto kFamilies = std::to_array<Family>({
    {kClientEventsTotal, "counter", "Events of Wi-Fi clients.", {kClientEventsTotal}},
    {kProbeReportsTotal, "counter", "Probe requests of Wi-Fi clients.", {kProbeReportsTotal}},
    {kRecordsTotal, "counter", "Records that were stored.", {kRecordsTotal}},
    {kRecordBytesTotal, "counter", "Bytes of the records that were stored.", {kRecordBytesTotal}},
    {kErrorsTotal, "counter", "What went wrong with records.", {kErrorsTotal}},
    {kSignal,
     "histogram",
     "Signal of the client in its events, in dBm.",
     {kSignalBuckets, kSignalSum, kSignalCount}},
});

void AppendHead(const Family& family, std::string* text) {
  fmt::format_to(std::back_inserter(*text), "# HELP {0} {2}\n# TYPE {0} {1}\n", family.name,
                 family.type, family.help);
}

}  // namespace

std::string MetricsText(const Metrics& metrics) {
  std::string text;
  const auto out = std::back_inserter(text);
  for (const Family& family : kFamilies) {
    AppendHead(family, &text);
    for (const auto& [key, count] : metrics.counts) {
      if (std::ranges::find(family.names, key.first) == family.names.end()) continue;
      const std::string labels = key.second.empty() ? "" : "{" + key.second + "}";
      fmt::format_to(out, "{}{} {}\n", key.first, labels, count);
    }
  }
  if (!metrics.last_record_ms.has_value()) return text;
  AppendHead(
      {kLastRecordTimestamp, "gauge", "When the last record came, since the Unix epoch.", {}},
      &text);
  fmt::format_to(out, "{} {:.3f}\n", kLastRecordTimestamp,
                 static_cast<double>(*metrics.last_record_ms) / 1000);
  return text;
}

}  // namespace orvane::recorder
