// Runs the daemon for a long time among unreliable peers. script/soak calls it.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <iostream>
#include <optional>

#include "testbed/private_namespace.h"
#include "testbed/program.h"
#include "tests/soak/soak.h"

namespace orvane::soak {
namespace {

int Main(int argc, char** argv) {
  CLI::App app("Runs the daemon among peers that come and go, and judges it.", "soak_driver");
  SoakOptions options;
  app.add_option("--minutes", options.minutes, "For so long, with a fraction if wanted")
      ->check(CLI::PositiveNumber);
  app.add_option("--seed", options.seed, "Of the schedule");
  app.add_option("--directory", options.directory, "Where soak.csv, verdict.txt and daemon.log go");
  app.add_flag("--valgrind", options.valgrind, "Run the daemon in valgrind's memcheck");
  if (const std::optional<int> exit_code = testbed::ParseCommandLine(app, argc, argv)) {
    return *exit_code;
  }
  if (const testbed::Failure failure = testbed::EnterPrivateNamespace({.private_dev = true})) {
    std::cerr << *failure << "\n";
    return testbed::kExitFailure;
  }
  return Soak(options).Run() ? testbed::kExitOk : testbed::kExitFailure;
}

}  // namespace
}  // namespace orvane::soak

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::soak::Main(argc, argv); }
