#ifndef BENCH_SAMPLE_H_
#define BENCH_SAMPLE_H_

#include <sys/types.h>

#include <functional>
#include <string_view>

#include "bench/figure.h"

namespace orvane::bench {

// Takes `count` samples, without a floor.
Measured Sample(int count, const std::function<double()>& ours);

// Takes `count` samples of both alternately, so that other load affects both equally. The first
// sample of each includes page faults of new memory and does not count.
Measured SampleBoth(int count, const std::function<double()>& ours,
                    const std::function<double()>& floor);

// Returns a value of the process's memory, such as "Rss", in megabytes of 1,000,000 bytes.
double MemoryOf(pid_t pid, std::string_view key);

}  // namespace orvane::bench

#endif  // BENCH_SAMPLE_H_
