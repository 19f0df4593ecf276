// Records that may be an Event, split into entries: the result must equal protobuf's parse of the
// whole.

#include <cstdint>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "platform/logging.h"
#include "proto/event.pb.h"
#include "recorder/event_parts.h"
#include "recorder/metrics.h"
#include "recorder/tally.h"

namespace orvane {
namespace {

using access_infrastructure::proto::Event;
using recorder::Bytes;

// Parses the entries into the event. Returns whether all are valid.
template <typename Add>
bool AddEntries(const std::vector<Bytes>& entries, Add add) {
  for (const Bytes bytes : entries) {
    if (!add()->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) return false;
  }
  return true;
}

// Whatever a record contains, each line of the metrics must be valid.
void CheckMetrics(const Event& event) {
  recorder::Tally tally;
  for (const auto& entry : event.client_event_info()) tally.AddEntry("WLAN_5000MHZ", entry);
  for (const auto& entry : event.client_probe_request_info()) tally.AddEntry("", entry);
  std::istringstream text(
      recorder::FormatMetrics({.counts = tally.Counts(), .last_record_ms = {}}));
  for (std::string line; std::getline(text, line);) {
    CHECK(line.starts_with("ap_wavelark_") || line.starts_with("# "));
  }
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  Event whole;
  const bool is_event = whole.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  auto parts = recorder::SplitEvent(bytes);
  if (!parts) {
    // Either it is not an Event, or it exceeds a limit.
    CHECK(!is_event || bytes.size() > recorder::kMaxEntrySize);
    return;
  }
  Event& joined = parts->header;
  const bool is_whole =
      AddEntries(parts->client_events, [&] { return joined.add_client_event_info(); }) &&
      AddEntries(parts->probe_reports, [&] { return joined.add_client_probe_request_info(); });
  CHECK(is_whole == is_event);
  if (!is_event) return;
  CHECK(joined.SerializeAsString() == whole.SerializeAsString());
  CheckMetrics(whole);
}

}  // namespace orvane
