// Measures the daemon against the floor of the same work, and prints a table.

#include <gtest/gtest.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/report.h"
#include "bench/rows.h"
#include "platform/logging.h"
#include "testbed/private_namespace.h"
#include "testbed/program.h"
#include "testbed/temporary_directory.h"

namespace orvane::bench {
namespace {

std::vector<Row> AllRows(const std::string& polls) {
  std::vector<Row> all;
  for (const auto& rows : {ProcessRows(), EventRows(), StationRows(), BatchRows(), BridgeRows(),
                           ServiceRows(), ToolRows(), PollRows(polls)}) {
    all.insert(all.end(), rows.begin(), rows.end());
  }
  return all;
}

// Returns the requested rows, or all if none is requested. A name selects all rows that begin with
// it.
std::optional<std::vector<Row>> Choose(const std::vector<Row>& all,
                                       const std::vector<std::string>& names, std::string* error) {
  if (names.empty()) return all;
  std::vector<Row> chosen;
  for (const std::string& name : names) {
    const std::size_t before = chosen.size();
    std::copy_if(all.begin(), all.end(), std::back_inserter(chosen),
                 [&](const Row& row) { return row.name.starts_with(name); });
    if (chosen.size() > before) continue;
    *error = "no row " + name;
    return std::nullopt;
  }
  return chosen;
}

int Main(int argc, char** argv) {
  CLI::App app("Measures the daemon against the floor of the same work.", "wavelark_bench");
  std::vector<std::string> names;
  std::string json;
  std::string polls;
  bool list = false;
  app.add_option("ROW", names, "Rows by name or the beginning of it; all if there is none");
  app.add_option("--json", json, "Where to write the rows as JSON, too; the last one counts")
      ->type_name("FILE")
      ->take_last();
  app.add_option("--polls", polls, "What the lab's scenario `polls` has printed")
      ->type_name("FILE");
  app.add_flag("--list", list, "Only print the names of the rows");
  if (const auto exit_code = testbed::ParseCommandLine(app, argc, argv)) return *exit_code;

  std::string error;
  const auto rows = Choose(AllRows(polls), names, &error);
  if (!rows.has_value()) {
    std::cerr << app.get_name() << ": " << error << "\n";
    return testbed::kExitUsage;
  }
  if (list) {
    for (const Row& row : *rows) std::cout << row.name << "\n";
    return testbed::kExitOk;
  }
  if (const testbed::Failure failure = testbed::EnterPrivateNamespace({.private_dev = true})) {
    return testbed::ExitCodeOf(app, failure);
  }
  // Only warnings of the measured parts are printed, beside the table.
  platform::InitLog(0, app.get_name());
  const platform::LogListener listener([](platform::Severity severity, std::string_view text) {
    if (severity >= platform::Severity::kWarning) std::cerr << text << "\n";
  });
  std::vector<Result> results;
  std::cout << TableHead() << std::flush;
  for (const Row& row : *rows) {
    const std::optional<Measured> measured = row.measure();
    if (!measured.has_value()) {
      std::cout << row.name << ": not measured, because the lab gave no figures\n" << std::flush;
      continue;
    }
    results.push_back({.row = row, .measured = *measured});
    std::cout << TableLine(results.back()) << std::flush;
  }
  if (!json.empty()) testbed::WriteFile(json, Json(results));
  // The testbed has printed its failed expectations.
  return ::testing::Test::HasFailure() ? testbed::kExitFailure : testbed::kExitOk;
}

}  // namespace
}  // namespace orvane::bench

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::bench::Main(argc, argv); }
