// Receives records in place of the metrics recorder, and prints them.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <limits>
#include <optional>

#include "platform/sd_event_loop.h"
#include "testbed/metrics_recorder.h"
#include "testbed/program.h"

namespace orvane::testbed {
namespace {

void DescribeOptions(CLI::App& app, MetricsRecorderOptions* options) {
  app.add_option(
         "--keep", options->keep,
         "Keep the bytes of each record in DIR as 000001, 000002 ..., and their type beside "
         "them in 000001.type ...")
      ->type_name("DIR");
  AddSecondsOption(app, "--delay", &options->delay, "Reply to each call only after this long");
  app.add_option("--error", options->error, "Reply with the D-Bus error of this name")
      ->type_name("NAME")
      ->check(BusErrorName());
  app.add_flag("--extra-data", options->extra_data, "Reply with data where none belongs");
  app.add_option("--die-in-call", options->die_in_call, "Exit in the N-th call, without a reply")
      ->type_name("N")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()));
  GroupMisbehaviour(app, {"--delay", "--error", "--extra-data", "--die-in-call"});
}

int Main(int argc, char** argv) {
  CLI::App app("Owns org.velmora.ap.Quillary on the system bus and prints the records it is given.",
               "metrics_recorder");
  MetricsRecorderOptions options;
  DescribeOptions(app, &options);
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  platform::SdEventLoop loop;
  EndOnSignals(loop);
  MetricsRecorder recorder(loop, options, &PrintLine);
  return RunProgram(app, recorder.Start(), loop);
}

}  // namespace
}  // namespace orvane::testbed

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::testbed::Main(argc, argv); }
