// Runs the whole daemon on a simulated kernel, whose wireless interfaces and stations come from a
// file.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "optimizer/run.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "platform/netlink/netlink_kernel.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/netlink/netlink_socket.h"
#include "simulation/fake_kernel.h"
#include "testbed/failure.h"
#include "testbed/program.h"
#include "testbed/stations_file.h"

namespace orvane::testbed {
namespace {

// The simulated kernel with the contents of a file. The file is read at every look-up of an
// interface's index. Every poll of an interface starts with one, so a poll never uses an older
// file.
class StationsFileKernel : public platform::NetlinkKernel {
 public:
  explicit StationsFileKernel(platform::FilePath file) : file_(std::move(file)) {}

  // A failure leaves everything unchanged.
  Failure Load() {
    const std::optional<std::string> text = platform::ReadFileToString(file_);
    if (!text) return "Can't read " + file_.native();
    StationsFile parsed;
    if (const Failure failure = ParseStationsFile(*text, &parsed)) {
      return file_.native() + " " + *failure;
    }
    Apply(std::move(parsed.stations));
    Apply(std::move(parsed.faults));
    return std::nullopt;
  }

  std::unique_ptr<platform::NetlinkSocket> OpenSocket() override { return kernel_.OpenSocket(); }
  std::uint32_t GetInterfaceIndex(const std::string& name) override {
    if (const Failure failure = Load()) LOG(ERROR) << *failure;
    LogRequests();
    const auto other = faults_.reused_indexes.find(name);
    return kernel_.GetInterfaceIndex(other == faults_.reused_indexes.end() ? name : other->second);
  }

 private:
  // Logs the kernel's requests since the last call.
  void LogRequests() {
    for (const auto& request : kernel_.requests()) {
      VLOG(1) << "Netlink request " << request.header.sequence << " on socket "
              << request.header.port;
    }
    kernel_.ForgetRequests();
  }

  void Apply(StationTable table) {
    for (const auto& [interface, stations] : table_) kernel_.RemoveInterface(interface);
    table_ = std::move(table);
    std::uint32_t index = 0;
    for (const auto& [interface, stations] : table_) {
      kernel_.AddInterface(interface, ++index);
      kernel_.Stations(interface) = stations;
    }
  }

  void Apply(KernelFaults faults) {
    // Changing it ends a running dump.
    if (faults.is_silent != faults_.is_silent) kernel_.SetSilent(faults.is_silent);
    kernel_.SetDumpInterrupted(faults.interrupts_dumps);
    kernel_.SetLosingParts(faults.loses_parts);
    if (const auto& dump = faults.failed_dump) {
      kernel_.FailNextDumpAfter(dump->records, dump->error_number);
    }
    faults_ = std::move(faults);
  }

  platform::FilePath file_;
  StationTable table_;
  KernelFaults faults_;
  simulation::FakeKernel kernel_;
};

int Main(int argc, char** argv) {
  CLI::App app(
      "Runs the daemon on a stand-in for the kernel. What follows FILE are the daemon's flags.",
      "daemon_on_fake_kernel");
  std::string file;
  app.add_option("FILE", file,
                 "Lines of INTERFACE [ADDRESS SIGNAL [unauthorized] [no-signal-average] "
                 "[no-rx-bitrate]], and ! FAULT, one of silent, interrupted, losing, failing "
                 "RECORDS ERROR, reusing INTERFACE OTHER; '#' begins a comment. Read again for "
                 "every poll")
      ->required();
  if (const std::optional<int> exit_code = ParseCommandLine(app, std::min(argc, 2), argv)) {
    return *exit_code;
  }
  StationsFileKernel kernel(file);
  if (const Failure failure = kernel.Load()) return ExitCodeOf(app, failure);
  platform::NetlinkManager::GetInstance()->SetKernel(kernel);
  argv[1] = argv[0];
  return ap::RunOptimizer(argc - 1, argv + 1);
}

}  // namespace
}  // namespace orvane::testbed

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::testbed::Main(argc, argv); }
