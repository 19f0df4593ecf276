#include "recorder/run.h"

#include <optional>

#include "platform/bus/bus_service_daemon.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "recorder/command_line.h"
#include "recorder/recorder_daemon.h"

namespace orvane::recorder {

int RunRecorder(int argc, char** argv) {
  platform::bus::BusServiceDaemon::HandleSignals();
  platform::FillStandardDescriptors();
  RecorderOptions options;
  if (const std::optional<int> exit_code = ParseCommandLine(argc, argv, &options)) {
    return *exit_code;
  }
  platform::InitLog(platform::kLogToSystemLog | platform::kLogToStderr | platform::kLogHeader,
                    "ap-wavelark-recorder");
  LOG(INFO) << "Starting the recorder";
  RecorderDaemon daemon(options);
  return daemon.Run();
}

}  // namespace orvane::recorder
