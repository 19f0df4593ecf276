#include "bridge/tracked_stations.h"

#include <cstdint>
#include <optional>

#include "bridge/control_text.h"
#include "platform/parse_number.h"

namespace orvane::bridge {
namespace {

constexpr std::int64_t kRecentSeconds = 1;

std::optional<TrackedStation> ParseLine(std::string_view line) {
  TrackedStation tracked;
  if (!ap::MacAddress::ParseFromString(TakeUntil(&line, ' '), &tracked.station)) {
    return std::nullopt;
  }
  const auto age = platform::ParseNumber<std::int64_t>(TakeUntil(&line, ' '));
  if (!age.has_value() || *age < 0 || *age > kRecentSeconds) return std::nullopt;
  const std::optional<int> signal = ParseSignal(line);
  if (!signal.has_value()) return std::nullopt;
  tracked.signal = *signal;
  return tracked;
}

}  // namespace

std::vector<TrackedStation> ParseTrackedStations(std::string_view answer) {
  std::vector<TrackedStation> stations;
  while (!answer.empty()) {
    if (const auto tracked = ParseLine(TakeUntil(&answer, '\n'))) stations.push_back(*tracked);
  }
  return stations;
}

}  // namespace orvane::bridge
