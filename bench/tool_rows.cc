#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/rows.h"
#include "platform/logging.h"
#include "testbed/temporary_directory.h"

namespace orvane::bench {
namespace {

constexpr int kRuns = 5;
constexpr int kMinutes = 24 * 60;
constexpr int kDay = 1000;  // clients
constexpr int kCrowd = 10'000;

struct Cost {
  double seconds;    // processor time
  double megabytes;  // maximum resident size
};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Runs the tool and waits for its end.
Cost RunTool(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), WAVELARKCTL_PATH);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  CHECK(posix_spawn(&pid, pointers.front(), &actions, nullptr, pointers.data(), environ) == 0);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage = {};
  CHECK(wait4(pid, &status, 0, &usage) == pid && status == 0) << "wavelarkctl failed";
  return {Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
          static_cast<double>(usage.ru_maxrss) * 1024 / 1'000'000};
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
