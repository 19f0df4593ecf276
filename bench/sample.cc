#include "bench/sample.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "testbed/process_figures.h"

namespace orvane::bench {

Measured Sample(int count, const std::function<double()>& ours) {
  std::vector<double> samples(static_cast<std::size_t>(count));
  std::ranges::generate(samples, ours);
  return {.ours = Summarize(samples), .floor = {}};
}

Measured SampleBoth(int count, const std::function<double()>& ours,
                    const std::function<double()>& floor) {
  std::vector<double> our_samples;
  std::vector<double> floor_samples;
  for (int i = 0; i <= count; ++i) {
    const double our_sample = ours();
    const double floor_sample = floor();
    if (i == 0) continue;
    our_samples.push_back(our_sample);
    floor_samples.push_back(floor_sample);
  }
  return {.ours = Summarize(our_samples), .floor = Summarize(floor_samples)};
}

// A kB of /proc has 1,024 bytes.
double MemoryOf(pid_t pid, std::string_view key) {
  return static_cast<double>(testbed::ProcessFile(pid, "smaps_rollup").Figure(key)) * 1024 /
         1'000'000;
}

}  // namespace orvane::bench
