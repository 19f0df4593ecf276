// Publishes the run-time switches of the access point from a text file.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <optional>

#include "platform/sd_event_loop.h"
#include "testbed/flags_service.h"
#include "testbed/program.h"

namespace orvane::testbed {
namespace {

void DescribeOptions(CLI::App& app, FlagsServiceOptions* options) {
  app.add_option("FILE", options->file,
                 "Lines of key=value; '#' begins a comment. Read again whenever it changes; while "
                 "it is not there, there are no flags.")
      ->required();
  AddSecondsOption(app, "--late", &options->late, "Claim the name only after this long");
  AddMillisecondsOption(app, "--answer-delay", &options->answer_delay,
                        "Answer each reading only after this long");
  app.add_option("--error", options->error, "Answer each reading with the D-Bus error of this name")
      ->type_name("NAME")
      ->check(BusErrorName());
  app.add_flag("--extra-variant", options->encoding.extra_variant,
               "Send the map in one more variant");
  app.add_flag("--duplicate-keys", options->encoding.duplicate_keys,
               "Send each key twice, the second time with another value");
  app.add_option("--wrong-type", options->encoding.wrong_type,
                 "Send a value of another type than a{ss}")
      ->type_name("KIND")
      ->check(CLI::IsMember(WrongFlagsTypes()));
  GroupMisbehaviour(app, {"--late", "--answer-delay", "--error", "--extra-variant",
                          "--duplicate-keys", "--wrong-type"});
}

int Main(int argc, char** argv) {
  CLI::App app("Owns org.velmora.ap.Flags on the system bus and publishes its property \"Flags\".",
               "flags_service");
  FlagsServiceOptions options;
  DescribeOptions(app, &options);
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  platform::SdEventLoop loop;
  EndOnSignals(loop);
  FlagsService service(loop, options, &PrintLine);
  return RunProgram(app, service.Start(), loop);
}

}  // namespace
}  // namespace orvane::testbed

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::testbed::Main(argc, argv); }
