#include "optimizer/optimizer_flags.h"

#include "platform/command_line.h"
#include "platform/logging.h"

namespace orvane::ap {

std::optional<int> ParseCommandLine(int argc, const char* const* argv, OptimizerFlags* flags) {
  platform::CommandLine command_line(argc > 0 ? argv[0] : "", "ap-wavelark " WAVELARK_VERSION);
  command_line.AddBool("enable_connection_event_stats", "Enable Connectivity Event stats upload",
                       &flags->enable_connection_event_stats);
  command_line.AddInt32("connection_event_upload_period",
                        "Time in seconds between connectivity event uploads",
                        &flags->connection_event_upload_period);
  command_line.AddBool("enable_client_steering", "Enable client Steering",
                       &flags->enable_client_steering);
  command_line.AddInt32("client_steering_interval",
                        "Minimum time in seconds between 2 steer attemepts for a station",
                        &flags->client_steering_interval);
  command_line.AddInt32("client_steering_poll_interval", "Periodic Poll interval in seconds",
                        &flags->client_steering_poll_interval);
  command_line.AddInt32("client_steering_root_lqm_floor",
                        "link quality metric floor value for client steering on root",
                        &flags->client_steering_root_lqm_floor);
  command_line.AddInt32("client_steering_child_lqm_floor",
                        "link quality metric floor value for client steering on child",
                        &flags->client_steering_child_lqm_floor);
  command_line.AddInt32("client_steering_lqm_hysteresis", "link quality metric hysteresis",
                        &flags->client_steering_lqm_hysteresis);
  command_line.AddBool("is_root", "indicates if this node is root", &flags->is_root);

  std::int32_t verbose_level = 0;
  command_line.AddInt32("v", "Verbose level; 1 logs each event and each station", &verbose_level);

  const std::optional<int> exit_code = command_line.Parse(argc, argv);
  if (!exit_code.has_value()) platform::SetVerboseLevel(verbose_level);
  return exit_code;
}

}  // namespace orvane::ap
