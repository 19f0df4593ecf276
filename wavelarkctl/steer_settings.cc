#include "wavelarkctl/steer_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <optional>

#include "common/run_time_flags.h"
#include "flags/flags_text.h"
#include "optimizer/optimizer_flags.h"
#include "platform/logging.h"
#include "platform/time.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using Policy = ap::ClientSteerSettings;

std::uint8_t LowByte(std::int32_t value) { return static_cast<std::uint8_t>(value); }

void SetSteerInterval(std::int32_t seconds, Policy* policy) {
  policy->steer_interval = platform::SecondsToTimeSpan(seconds);
}
void SetPollInterval(std::int32_t seconds, Policy* policy) {
  policy->poll_interval = platform::SecondsToTimeSpan(seconds);
}
void SetRootFloor(std::int32_t floor, Policy* policy) { policy->root_lqm_floor = LowByte(floor); }
void SetChildFloor(std::int32_t floor, Policy* policy) { policy->child_lqm_floor = LowByte(floor); }
void SetHysteresis(std::int32_t hysteresis, Policy* policy) {
  policy->lqm_hysteresis = LowByte(hysteresis);
}

// A number that can be set on the command line and at run time.
struct NumberRow {
  std::string_view flag;
  std::string_view run_time_flag;
  std::int32_t ap::OptimizerFlags::*default_value;
  void (*set)(std::int32_t value, Policy* policy);
};

constexpr auto kNumbers = std::to_array<NumberRow>({
    {"client_steering_interval", ap::kClientSteeringIntervalFlag,
     &ap::OptimizerFlags::client_steering_interval, SetSteerInterval},
    {"client_steering_poll_interval", ap::kClientSteeringPollIntervalFlag,
     &ap::OptimizerFlags::client_steering_poll_interval, SetPollInterval},
    {"client_steering_root_lqm_floor", ap::kClientSteeringRootLqmFloorFlag,
     &ap::OptimizerFlags::client_steering_root_lqm_floor, SetRootFloor},
    {"client_steering_child_lqm_floor", ap::kClientSteeringChildLqmFloorFlag,
     &ap::OptimizerFlags::client_steering_child_lqm_floor, SetChildFloor},
    {"client_steering_lqm_hysteresis", ap::kClientSteeringLqmHysteresisFlag,
     &ap::OptimizerFlags::client_steering_lqm_hysteresis, SetHysteresis},
});

constexpr std::string_view kIsRootFlag = "is_root";

std::optional<std::int32_t> ParseInt32(std::string_view text) {
  std::int32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<bool> ParseBool(std::string_view text) {
  if (text == "true" || text == "1" || text == "yes" || text == "on") return true;
  if (text == "false" || text == "0" || text == "no" || text == "off") return false;
  return std::nullopt;
}

[[noreturn]] void RefuseFlag(std::string_view flag) {
  std::string known;
  for (const NumberRow& row : kNumbers) known += fmt::format("{}, ", row.flag);
  throw Failure(ExitStatus::kUsage, fmt::format("no flag {} concerns steering; these do: {}{}",
                                                flag, known, kIsRootFlag));
}

[[noreturn]] void RefuseValue(std::string_view flag, std::string_view value, const char* problem) {
  throw Failure(ExitStatus::kUsage, fmt::format("{}: '{}' is {}", flag, value, problem));
}

}  // namespace

SteerSettings DefaultSteerSettings() {
  const ap::OptimizerFlags flags;
  SteerSettings settings = {};
  settings.policy.is_root = flags.is_root;
  for (const NumberRow& row : kNumbers) row.set(flags.*row.default_value, &settings.policy);
  return settings;
}

void ApplyFlag(std::string_view text, SteerSettings* settings) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) RefuseValue(text, "", "no value");
  const std::string_view flag = text.substr(0, equals);
  const std::string_view value = text.substr(equals + 1);
  if (flag == kIsRootFlag) {
    const std::optional<bool> is_root = ParseBool(value);
    if (!is_root) RefuseValue(flag, value, "neither true nor false");
    settings->policy.is_root = *is_root;
    return;
  }
  const auto* const row = std::ranges::find(kNumbers, flag, &NumberRow::flag);
  if (row == kNumbers.end()) RefuseFlag(flag);
  const std::optional<std::int32_t> number = ParseInt32(value);
  if (!number) RefuseValue(flag, value, "not an integer of 32 bits");
  row->set(*number, &settings->policy);
}

std::vector<std::string> ApplyFlagsFile(const platform::FilePath& file, SteerSettings* settings) {
  const std::optional<std::string> text = platform::ReadFileToString(file);
  if (!text) {
    throw Failure(ExitStatus::kUnavailable,
                  file.native() + ": " + platform::SystemErrorText(errno));
  }
  flags::Reading reading;
  flags::ReadFlags(file.native(), *text, &reading);
  if (!reading.errors.empty()) throw Failure(ExitStatus::kData, reading.errors.front());
  for (const NumberRow& row : kNumbers) {
    const auto found = reading.flags.find(std::string(row.run_time_flag));
    // The reading has checked the number.
    if (found != reading.flags.end()) row.set(*ParseInt32(found->second), &settings->policy);
  }
  const auto found = reading.flags.find(ap::kClientSteeringFlag);
  if (found != reading.flags.end()) settings->is_enabled = found->second == ap::kEnabledValue;
  return reading.warnings;
}

SteerLimits LimitsOf(const ap::ClientSteerSettings& policy) {
  return {.lqm_floor = policy.is_root ? policy.root_lqm_floor : policy.child_lqm_floor,
          .lqm_hysteresis = policy.lqm_hysteresis,
          .steer_interval = policy.steer_interval};
}

}  // namespace orvane::wavelarkctl
