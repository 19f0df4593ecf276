#ifndef PLATFORM_METRICS_TEXT_H_
#define PLATFORM_METRICS_TEXT_H_

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace orvane::platform {

// A metric: all samples that differ only in labels, or in the suffix of a histogram's name.
struct MetricFamily {
  std::string_view name;  // a counter's name ends in "_total"
  std::string_view type;  // "counter", "gauge" or "histogram"
  std::string_view help;  // one line without backslashes
};

// Returns `name="value"`. Escapes the value.
std::string MetricLabel(std::string_view name, std::string_view value);

// Builds the text of a metrics file in the text format of Prometheus, version 0.0.4. The textfile
// collector of node_exporter reads this format only: in OpenMetrics, families of counters have
// other names. The last line is OpenMetrics' "# EOF", a comment in this format, by which a reader
// can check that the file is complete.
class MetricsText {
 public:
  // The samples of the family follow, before the next family.
  void AddFamily(const MetricFamily& family);

  // `labels` is a list of MetricLabel, separated by commas. It may be empty.
  template <typename Value>
  void AddSample(std::string_view name, std::string_view labels, const Value& value) {
    AddName(name, labels);
    fmt::format_to(std::back_inserter(text_), "{}\n", value);
  }

  // Returns the text, complete.
  std::string Take() { return std::move(text_) + "# EOF\n"; }

 private:
  void AddName(std::string_view name, std::string_view labels);

  std::string text_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_METRICS_TEXT_H_
