#include "flags/run.h"

#include <sysexits.h>

#include <iostream>
#include <optional>
#include <string>

#include "flags/command_line.h"
#include "flags/flags_daemon.h"
#include "flags/flags_directories.h"
#include "platform/bus/bus_service_daemon.h"
#include "platform/files.h"
#include "platform/logging.h"

namespace orvane::flags {
namespace {

int Check(const FlagsOptions& options) {
  for (const platform::FilePath& directory : options.directories) {
    if (platform::PathExists(directory)) continue;
    std::cerr << "warning: " << directory.native() << ": the directory does not exist\n";
  }
  const Reading reading = ReadFlagsDirectories(options.directories);
  for (const std::string& warning : reading.warnings) std::cerr << "warning: " << warning << "\n";
  for (const std::string& error : reading.errors) std::cerr << "error: " << error << "\n";
  if (!reading.errors.empty()) return EX_DATAERR;
  for (const auto& [key, value] : reading.flags) std::cout << key << "=" << value << "\n";
  return EX_OK;
}

}  // namespace

int RunFlags(int argc, char** argv) {
  platform::bus::BusServiceDaemon::HandleSignals();
  platform::FillStandardDescriptors();
  FlagsOptions options;
  if (const std::optional<int> exit_code = ParseCommandLine(argc, argv, &options)) {
    return *exit_code;
  }
  if (options.check) return Check(options);
  platform::InitLog(platform::kLogToSystemLog | platform::kLogToStderr | platform::kLogHeader,
                    "ap-wavelark-flags");
  LOG(INFO) << "Starting the flags service";
  FlagsDaemon daemon(options.directories);
  return daemon.Run();
}

}  // namespace orvane::flags
