#include "wavelarkctl/log/assumed_settings.h"

#include <fmt/format.h>

#include "platform/parse_number.h"
#include "wavelarkctl/steer_settings.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using platform::TimeSpan;

// Only one of the two floors is in force.
bool IsInForce(const SteerFlag& flag, bool is_root) {
  return flag.field != (is_root ? &ap::OptimizerFlags::client_steering_child_lqm_floor
                                : &ap::OptimizerFlags::client_steering_root_lqm_floor);
}

}  // namespace

AssumedSettings::AssumedSettings() {
  TakeCommandLine(ap::OptimizerFlags(), "the daemon's default");
  for (Value& value : values_) value.rank = Origin::kDefault;
}

void AssumedSettings::Set(SteerSetting setting, std::int64_t value, Origin rank,
                          const std::string& origin) {
  Value& current = values_[static_cast<std::size_t>(setting)];
  if (rank >= current.rank) current = {value, rank, origin};
}

void AssumedSettings::SetNumber(const SteerFlag& flag, std::int32_t number, Origin rank,
                                const std::string& origin) {
  const std::int64_t value = IsMetric(flag.setting)
                                 ? std::int64_t{static_cast<std::uint8_t>(number)}
                                 : platform::SecondsToTimeSpan(number).count();
  Set(flag.setting, value, rank, origin);
}

void AssumedSettings::TakeCommandLine(const ap::OptimizerFlags& flags, const std::string& origin) {
  for (const SteerFlag& flag : kSteerFlags) {
    if (!IsInForce(flag, flags.is_root)) continue;
    SetNumber(flag, flags.*flag.field, Origin::kCommandLine, origin);
  }
}

void AssumedSettings::TakeLog(const SteeringStarted& started, platform::WallTime time) {
  const std::string origin = "the log of " + FormatLocalSeconds(time);
  Set(SteerSetting::kFloor, started.limits.lqm_floor, Origin::kLog, origin);
  Set(SteerSetting::kHysteresis, started.limits.lqm_hysteresis, Origin::kLog, origin);
  Set(SteerSetting::kSteerInterval, started.limits.steer_interval.count(), Origin::kLog, origin);
  Set(SteerSetting::kPollInterval, started.poll_interval.count(), Origin::kLog, origin);
}

void AssumedSettings::TakeFlags(const flags::FlagMap& flags, bool is_root,
                                const std::string& origin) {
  for (const SteerFlag& flag : kSteerFlags) {
    const auto found = flags.find(std::string(flag.key));
    if (found == flags.end() || !IsInForce(flag, is_root)) continue;
    if (const auto number = platform::ParseNumber<std::int32_t>(found->second)) {
      SetNumber(flag, *number, Origin::kFlags, fmt::format("{} in {}", flag.key, origin));
    }
  }
}

void AssumedSettings::TakeUser(std::string_view assignment) {
  const auto [flag, value] = ParseSteerAssignment(assignment);
  SetNumber(*flag, value, Origin::kUser, "--set");
}

SteerLimits AssumedSettings::limits() const {
  return {.lqm_floor = static_cast<std::uint8_t>(Of(SteerSetting::kFloor).value),
          .lqm_hysteresis = static_cast<std::uint8_t>(Of(SteerSetting::kHysteresis).value),
          .steer_interval = TimeSpan(Of(SteerSetting::kSteerInterval).value)};
}

TimeSpan AssumedSettings::poll_interval() const {
  return TimeSpan(Of(SteerSetting::kPollInterval).value);
}

std::vector<AssumedSettings::Row> AssumedSettings::Describe() const {
  const auto metric = [](const Value& value) { return std::to_string(value.value); };
  const auto span = [](const Value& value) {
    return platform::FormatTimeSpan(TimeSpan(value.value));
  };
  const auto row = [&](const char* name, SteerSetting setting, const auto& format) {
    return Row{name, format(Of(setting)), Of(setting).origin};
  };
  return {row("floor", SteerSetting::kFloor, metric),
          row("hysteresis", SteerSetting::kHysteresis, metric),
          row("steer interval", SteerSetting::kSteerInterval, span),
          row("poll interval", SteerSetting::kPollInterval, span)};
}

}  // namespace orvane::wavelarkctl
