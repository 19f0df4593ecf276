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
  CLI::App app("Runs the daemon among unreliable peers and prints a verdict.", "soak_driver");
  SoakOptions options;
  app.add_option("--minutes", options.minutes, "Length of the run; a fraction is allowed")
      ->check(CLI::PositiveNumber);
  app.add_option("--seed", options.seed, "Seed of the schedule");
  app.add_option("--directory", options.directory,
                 "Directory for soak.csv, verdict.txt and daemon.log");
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
