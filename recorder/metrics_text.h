#ifndef RECORDER_METRICS_TEXT_H_
#define RECORDER_METRICS_TEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recorder/tally.h"

namespace orvane::recorder {

// What the metrics file says.
struct Metrics {
  // Those of one name in the order in which they are to be written.
  std::vector<std::pair<Tally::Key, std::int64_t>> counts;
  // Since the Unix epoch; nothing when there is no record.
  std::optional<std::int64_t> last_record_ms{};
};

// The text that node_exporter's textfile collector reads (Prometheus's text format, version 0.0.4).
std::string MetricsText(const Metrics& metrics);

}  // namespace orvane::recorder

#endif  // RECORDER_METRICS_TEXT_H_
