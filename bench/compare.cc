#include "bench/compare.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "platform/logging.h"

namespace orvane::bench {
namespace {

constexpr int kRepetitions = 15;
constexpr double kSecondsPerRepetition = 0.05;
constexpr char kOurs[] = "ours";
constexpr char kFloor[] = "floor";

// Collects the time of each repetition, in nanoseconds per item.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      std::vector<double>& samples = run.run_name.function_name == kOurs ? ours : floor;
      samples.push_back(run.GetAdjustedRealTime());
    }
  }

  std::vector<double> ours;
  std::vector<double> floor;
};

void Register(const char* name, const Piece& piece) {
  benchmark::RegisterBenchmark(name,
                               [&piece](benchmark::State& state) {
                                 for (auto _ : state) {
                                   state.SetIterationTime(static_cast<double>(piece()) / 1e9);
                                 }
                               })
      ->UseManualTime()
      ->Unit(benchmark::kNanosecond)
      ->MinTime(kSecondsPerRepetition)
      ->Repetitions(kRepetitions);
}

Figure Scaled(std::vector<double> samples, double divisor) {
  for (double& sample : samples) sample /= divisor;
  return Summarize(std::move(samples));
}

}  // namespace

Measured Compare(const Piece& ours, const Piece& floor, double divisor) {
  std::string program = "bench";
  std::string interleave = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {program.data(), interleave.data(), nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);
  Register(kOurs, ours);
  Register(kFloor, floor);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  benchmark::ClearRegisteredBenchmarks();
  return {.ours = Scaled(std::move(collector.ours), divisor),
          .floor = Scaled(std::move(collector.floor), divisor)};
}

}  // namespace orvane::bench
