// Writes a recorder's database with several days of events, for the browser test and for
// measurements.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cstdint>
#include <string>

#include "testbed/played_days.h"
#include "wavelarkctl/time_text.h"

int main(int argc, char** argv) {
  using namespace orvane;  // NOLINT(google-build-using-namespace)
  CLI::App app("Writes a database of the recorder with days of made-up events.");
  std::string path;
  std::string end = "2026-03-16T00:00:00Z";
  testbed::PlayedDays plan;
  app.add_option("database", path, "The file to write")->required();
  app.add_option("--end", end, "When the last day ends");
  app.add_option("--days", plan.days);
  app.add_option("--clients", plan.clients);
  app.add_option("--visits", plan.visits_per_day, "Of a client each day");
  app.add_option("--seed", plan.seed);
  CLI11_PARSE(app, argc, argv);
  plan.end = wavelarkctl::ParseTimeOption("--end", end);
  const auto events = testbed::PlayDays(plan);
  testbed::StoreEvents(events, path);
  fmt::print("{} events\n", events.size());
}
