#include "optimizer/run.h"

#include <optional>

#include "optimizer/optimizer_daemon.h"
#include "optimizer/optimizer_flags.h"
#include "platform/bus/bus_service_daemon.h"
#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::ap {

int RunOptimizer(int argc, char** argv) {
  platform::bus::BusServiceDaemon::HandleSignals();
  platform::FillStandardDescriptors();
  OptimizerFlags flags;
  if (const std::optional<int> exit_code = ParseCommandLine(argc, argv, &flags)) return *exit_code;
  platform::InitLog(platform::kLogToSystemLog | platform::kLogToStderr | platform::kLogHeader,
                    "ap-wavelark");
  LOG(INFO) << "Starting the daemon";
  OptimizerDaemon daemon(flags);
  return daemon.Run();
}

}  // namespace orvane::ap
