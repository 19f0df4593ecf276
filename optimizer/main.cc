#include <optional>

#include "optimizer/command_line.h"
#include "optimizer/optimizer_daemon.h"
#include "platform/logging.h"

int main(int argc, char** argv) {
  orvane::ap::OptimizerFlags flags;
  if (const std::optional<int> exit_code = orvane::ap::ParseCommandLine(argc, argv, &flags)) {
    return *exit_code;
  }
  orvane::platform::InitLog(orvane::platform::kLogToSystemLog | orvane::platform::kLogToStderr |
                                orvane::platform::kLogHeader,
                            "ap-wavelark");
  LOG(INFO) << "Starting the daemon";
  orvane::ap::OptimizerDaemon daemon(flags);
  return daemon.Run();
}
