#ifndef OPTIMIZER_OPTIMIZER_FLAGS_H_
#define OPTIMIZER_OPTIMIZER_FLAGS_H_

#include <cstdint>
#include <optional>

namespace orvane::ap {

// The daemon's flags with their defaults. The flags service may change the settings later.
struct OptimizerFlags {
  bool enable_connection_event_stats = true;
  std::int32_t connection_event_upload_period = 300;  // seconds
  bool enable_client_steering = false;
  std::int32_t client_steering_interval = 600;      // seconds
  std::int32_t client_steering_poll_interval = 60;  // seconds
  std::int32_t client_steering_root_lqm_floor = 30;
  std::int32_t client_steering_child_lqm_floor = 40;
  std::int32_t client_steering_lqm_hysteresis = 15;
  bool is_root = true;
};

// Parses the command line into `*flags` and sets the verbose level. Returns nothing if the daemon
// can start, otherwise the exit code; see platform::CommandLine::Parse.
std::optional<int> ParseCommandLine(int argc, const char* const* argv, OptimizerFlags* flags);

}  // namespace orvane::ap

#endif  // OPTIMIZER_OPTIMIZER_FLAGS_H_
