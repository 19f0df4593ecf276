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
constexpr int kDay = 1000;  // clients
constexpr int kCrowd = 10'000;

struct Cost {
  double seconds;    // processor time
  double megabytes;  // maximum resident size
};

// Runs the tool and waits for its end.
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

// Replays a day of `clients`, with a row per client and minute.
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
  return {.ours = Summary(ReplayDay(kDay, kRuns), &Cost::seconds), .floor = {}};
}

Measured MeasureReplayMemory() {
  return {.ours = Summary(ReplayDay(kCrowd, 1), &Cost::megabytes), .floor = {}};
}

// Nanoseconds per row. The floor is the smaller crowd.
Measured MeasureReplayGrowth() {
  const auto per_row = [](int clients) { return 1e9 / kMinutes / clients; };
  return {.ours = Summary(ReplayDay(kCrowd, 1), &Cost::seconds, per_row(kCrowd)),
          .floor = Summary(ReplayDay(kDay, kRuns), &Cost::seconds, per_row(kDay))};
}

}  // namespace

std::vector<Row> ToolRows() {
  return {
      {"replay_day", "a replay of 1,440,000 rows of 1,000 clients", "s", 1.5, MeasureReplay},
      {"replay_memory", "the same of ten times as many: peak of memory", "MB", 64,
       MeasureReplayMemory},
      {"replay_growth", "a row of these, beside one of 1,000 clients", "ns", 1.6,
       MeasureReplayGrowth},
  };
}

}  // namespace orvane::bench
