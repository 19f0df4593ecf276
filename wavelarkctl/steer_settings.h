#ifndef WAVELARKCTL_STEER_SETTINGS_H_
#define WAVELARKCTL_STEER_SETTINGS_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/run_time_flags.h"
#include "optimizer/client_steer.h"
#include "optimizer/optimizer_flags.h"
#include "platform/files.h"
#include "wavelarkctl/decision.h"

namespace orvane::wavelarkctl {

// A numeric setting that is in force. Intervals are in seconds. Floor and hysteresis are metrics,
// which the daemon truncates to 8 bits.
enum class SteerSetting : std::uint8_t { kFloor, kHysteresis, kSteerInterval, kPollInterval };

constexpr bool IsMetric(SteerSetting setting) {
  return setting == SteerSetting::kFloor || setting == SteerSetting::kHysteresis;
}

// A flag of the daemon for one of these settings. Each role has a flag for its floor.
struct SteerFlag {
  std::string_view name;  // on the daemon's command line
  std::string_view key;   // in the flags service's map
  std::int32_t ap::OptimizerFlags::*field;
  SteerSetting setting;
};

inline constexpr auto kSteerFlags = std::to_array<SteerFlag>({
    {"client_steering_interval", ap::kClientSteeringIntervalFlag,
     &ap::OptimizerFlags::client_steering_interval, SteerSetting::kSteerInterval},
    {"client_steering_poll_interval", ap::kClientSteeringPollIntervalFlag,
     &ap::OptimizerFlags::client_steering_poll_interval, SteerSetting::kPollInterval},
    {"client_steering_root_lqm_floor", ap::kClientSteeringRootLqmFloorFlag,
     &ap::OptimizerFlags::client_steering_root_lqm_floor, SteerSetting::kFloor},
    {"client_steering_child_lqm_floor", ap::kClientSteeringChildLqmFloorFlag,
     &ap::OptimizerFlags::client_steering_child_lqm_floor, SteerSetting::kFloor},
    {"client_steering_lqm_hysteresis", ap::kClientSteeringLqmHysteresisFlag,
     &ap::OptimizerFlags::client_steering_lqm_hysteresis, SteerSetting::kHysteresis},
});

// A steering flag and its new value.
struct SteerAssignment {
  const SteerFlag* flag;
  std::int32_t value;
};

// Parses "FLAG=NUMBER". FLAG is a name or a key of kSteerFlags. Throws a Failure (kUsage) for any
// other text.
SteerAssignment ParseSteerAssignment(std::string_view text);

// The settings of a daemon that was started without flags, except that steering is enabled.
ap::OptimizerFlags DefaultSteerSettings();

// Applies "FLAG=VALUE", as ParseSteerAssignment or for is_root. Throws a Failure (kUsage) for any
// other text.
void ApplyFlag(std::string_view text, ap::OptimizerFlags* settings);

// Applies a file for ap-wavelark-flags (flags/flags_text.h) on top of the settings. Keys that are
// missing in the file change nothing. Returns warnings, each as "FILE:LINE: REASON". Throws a
// Failure: kData for a wrong file, kUnavailable if the file can't be read.
std::vector<std::string> ApplyFlagsFile(const platform::FilePath& file,
                                        ap::OptimizerFlags* settings);

// Converts settings as the daemon does when it starts: metrics are truncated to 8 bits.
ap::ClientSteerSettings PolicyOf(const ap::OptimizerFlags& settings);

SteerLimits LimitsOf(const ap::ClientSteerSettings& policy);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_STEER_SETTINGS_H_
