#include <chrono>
#include <sstream>
#include <string>
#include <vector>

#include "bench/rows.h"
#include "platform/logging.h"
#include "testbed/child_process.h"
#include "testbed/temporary_directory.h"

namespace orvane::bench {
namespace {

constexpr std::chrono::hours kLongestRun(1);
constexpr int kRuns = 5;
constexpr int kMinutes = 24 * 60;
constexpr int kClients = 1000;
constexpr int kManyClients = 10'000;

struct Cost {
  double seconds;    // processor time
  double megabytes;  // maximum resident size
};

Cost RunTool(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {RESOURCE_USAGE_PATH, WAVELARKCTL_PATH});
  const auto usage = testbed::StartProcess(arguments);
  const auto status = usage->WaitForExit(kLongestRun);
  CHECK(status.has_value() && status->code == 0) << usage->err().Text();
  double seconds = 0;
  double kilobytes = 0;
  std::istringstream(usage->out().Text()) >> seconds >> kilobytes;
  return {seconds, kilobytes * 1024 / 1'000'000};
}

// Replays a day with a row per client and minute. Returns the cost of each run.
std::vector<Cost> ReplayDay(int clients, int runs) {
  const testbed::TemporaryDirectory directory;
  const std::string trace = (directory.path() / "trace.csv").native();
  RunTool({"replay", "--walk", "crowd", "--crowd", std::to_string(clients), trace});
  std::vector<Cost> costs;
  for (int i = 0; i < runs; ++i) costs.push_back(RunTool({"replay", trace}));
  return costs;
}

Figure Summary(const std::vector<Cost>& costs, double Cost::*value, double factor = 1) {
  std::vector<double> samples;
  for (const Cost& cost : costs) samples.push_back(cost.*value * factor);
  return Summarize(samples);
}

Measured MeasureReplay() {
  return {.ours = Summary(ReplayDay(kClients, kRuns), &Cost::seconds), .floor = {}};
}

Measured MeasureReplayMemory() {
  return {.ours = Summary(ReplayDay(kManyClients, 1), &Cost::megabytes), .floor = {}};
}

// Nanoseconds per row. The floor is a row of fewer clients.
Measured MeasureReplayGrowth() {
  const auto per_row = [](int clients) { return 1e9 / kMinutes / clients; };
  return {.ours = Summary(ReplayDay(kManyClients, 1), &Cost::seconds, per_row(kManyClients)),
          .floor = Summary(ReplayDay(kClients, kRuns), &Cost::seconds, per_row(kClients))};
}

}  // namespace

std::vector<Row> ToolRows() {
  return {
      {"replay_day", "a replay of 1,440,000 rows of 1,000 clients", "s", 1.5, MeasureReplay},
      {"replay_memory", "peak memory of a replay of 10,000 clients", "MB", 64, MeasureReplayMemory},
      {"replay_growth", "a replayed row of 10,000 clients; floor: of 1,000", "ns", 1.6,
       MeasureReplayGrowth},
  };
}

}  // namespace orvane::bench
