#include "wavelarkctl/assumed_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "common/run_time_flags.h"
#include "wavelarkctl/local_time.h"

namespace orvane::wavelarkctl {
namespace {

using platform::TimeSpan;

std::optional<std::int32_t> ParseInt32(std::string_view text) {
  std::int32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace

// The names of a setting: on the daemon's command line, and in the flags service's map.
struct AssumedSettings::NameRow {
  Index index;
  std::string_view flag;
  std::string_view key;
};

const std::array<AssumedSettings::NameRow, 5> AssumedSettings::kNames = {{
    {kFloor, "client_steering_root_lqm_floor", ap::kClientSteeringRootLqmFloorFlag},
    {kFloor, "client_steering_child_lqm_floor", ap::kClientSteeringChildLqmFloorFlag},
    {kHysteresis, "client_steering_lqm_hysteresis", ap::kClientSteeringLqmHysteresisFlag},
    {kSteerInterval, "client_steering_interval", ap::kClientSteeringIntervalFlag},
    {kPollInterval, "client_steering_poll_interval", ap::kClientSteeringPollIntervalFlag},
}};

AssumedSettings::AssumedSettings() {
  TakeCommandLine(ap::OptimizerFlags(), "the daemon's default");
  for (Value& value : values_) value.rank = Origin::kDefault;
}

void AssumedSettings::Set(Index index, std::int64_t value, Origin rank, const std::string& origin) {
  if (rank >= values_[index].rank) values_[index] = {value, rank, origin};
}

void AssumedSettings::SetNumber(Index index, std::int32_t number, Origin rank,
                                const std::string& origin) {
  const bool is_metric = index == kFloor || index == kHysteresis;
  const std::int64_t value = is_metric ? std::int64_t{static_cast<std::uint8_t>(number)}
                                       : platform::SecondsToTimeSpan(number).count();
  Set(index, value, rank, origin);
}

void AssumedSettings::TakeCommandLine(const ap::OptimizerFlags& flags, const std::string& origin) {
  const std::int32_t floor =
      flags.is_root ? flags.client_steering_root_lqm_floor : flags.client_steering_child_lqm_floor;
  SetNumber(kFloor, floor, Origin::kCommandLine, origin);
  SetNumber(kHysteresis, flags.client_steering_lqm_hysteresis, Origin::kCommandLine, origin);
  SetNumber(kSteerInterval, flags.client_steering_interval, Origin::kCommandLine, origin);
  SetNumber(kPollInterval, flags.client_steering_poll_interval, Origin::kCommandLine, origin);
}

void AssumedSettings::TakeLog(const SteeringStarted& started, platform::WallTime time) {
  const std::string origin = "the log of " + FormatLocalSeconds(time);
  Set(kFloor, started.limits.lqm_floor, Origin::kLog, origin);
  Set(kHysteresis, started.limits.lqm_hysteresis, Origin::kLog, origin);
  Set(kSteerInterval, started.limits.steer_interval.count(), Origin::kLog, origin);
  Set(kPollInterval, started.poll_interval.count(), Origin::kLog, origin);
}

void AssumedSettings::TakeFlags(const flags::FlagMap& flags, bool is_root,
                                const std::string& origin) {
  const std::string_view other_floor =
      is_root ? ap::kClientSteeringChildLqmFloorFlag : ap::kClientSteeringRootLqmFloorFlag;
  for (const NameRow& row : kNames) {
    const auto found = flags.find(std::string(row.key));
    if (found == flags.end() || row.key == other_floor) continue;
    if (const auto number = ParseInt32(found->second)) {
      SetNumber(row.index, *number, Origin::kFlags, fmt::format("{} in {}", row.key, origin));
    }
  }
}

std::string AssumedSettings::TakeUser(std::string_view assignment) {
  const std::size_t equals = assignment.find('=');
  const std::string_view name = assignment.substr(0, equals);
  const auto* const row = std::ranges::find_if(
      kNames, [&](const NameRow& names) { return names.flag == name || names.key == name; });
  if (row == kNames.end()) return fmt::format("--set: {} is no steering flag with a number", name);
  if (equals == std::string_view::npos) return fmt::format("--set: {} needs a value", name);
  const auto number = ParseInt32(assignment.substr(equals + 1));
  if (!number) return fmt::format("--set: the value of {} is not an integer", name);
  SetNumber(row->index, *number, Origin::kUser, "--set");
  return "";
}

SteerLimits AssumedSettings::limits() const {
  return {.lqm_floor = static_cast<std::uint8_t>(values_[kFloor].value),
          .lqm_hysteresis = static_cast<std::uint8_t>(values_[kHysteresis].value),
          .steer_interval = TimeSpan(values_[kSteerInterval].value)};
}

TimeSpan AssumedSettings::poll_interval() const { return TimeSpan(values_[kPollInterval].value); }

std::vector<AssumedSettings::Row> AssumedSettings::Describe() const {
  const auto metric = [](const Value& value) { return std::to_string(value.value); };
  const auto span = [](const Value& value) {
    return platform::FormatTimeSpan(TimeSpan(value.value));
  };
  const auto row = [&](const char* name, Index index, const auto& format) {
    return Row{name, format(values_[index]), values_[index].origin};
  };
  return {row("floor", kFloor, metric), row("hysteresis", kHysteresis, metric),
          row("steer interval", kSteerInterval, span), row("poll interval", kPollInterval, span)};
}

}  // namespace orvane::wavelarkctl
