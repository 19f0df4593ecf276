#ifndef RECORDER_METRICS_H_
#define RECORDER_METRICS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recorder/tally.h"

namespace orvane::recorder {

// The values of the metrics file.
struct Metrics {
  // Entries of one name are in output order.
  std::vector<std::pair<Tally::Key, std::int64_t>> counts;
  // Since the Unix epoch; nothing if there is no record.
  std::optional<std::int64_t> last_record_ms{};
};

// Returns the contents of the metrics file.
std::string FormatMetrics(const Metrics& metrics);

}  // namespace orvane::recorder

#endif  // RECORDER_METRICS_H_
