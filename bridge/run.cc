#include "bridge/run.h"

#include <signal.h>
#include <sysexits.h>
#include <systemd/sd-daemon.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "bridge/bridge.h"
#include "bridge/options.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "platform/netlink/netlink_kernel.h"
#include "platform/sd_event_loop.h"

namespace orvane::bridge {
namespace {

// Without the package nothing else creates the directory.
bool MakeDirectory(const platform::FilePath& directory) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (!error) return true;
  LOG(ERROR) << "Failed to create " << directory.native() << ": " << error.message();
  return false;
}

}  // namespace

int RunBridge(int argc, char** argv) {
  platform::FillStandardDescriptors();
  signal(SIGPIPE, SIG_IGN);
  platform::SdEventLoop loop;
  Bridge* running = nullptr;
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    loop.HandleSignal(number, [&loop] { loop.Quit(0); });
  }
  loop.HandleSignal(SIGUSR1, [&running] {
    running->LogCounters();
    running->WriteMetrics();
  });

  Options options;
  if (const std::optional<int> exit_code = ParseOptions(argc, argv, &options)) return *exit_code;
  platform::InitLog(platform::kLogToSystemLog | platform::kLogToStderr | platform::kLogHeader,
                    "ap-wavelark-bridge");
  LOG(INFO) << "Starting the bridge";
  if (!MakeDirectory(options.directory)) return EX_CANTCREAT;
  Bridge bridge(loop, options, std::make_unique<platform::NetlinkKernel>());
  running = &bridge;
  sd_notify(/*unset_environment=*/0, "READY=1");
  loop.EnableWatchdog();
  const int exit_code = loop.Run();
  sd_notify(/*unset_environment=*/0, "STOPPING=1");
  bridge.LogCounters();
  return exit_code;
}

}  // namespace orvane::bridge
