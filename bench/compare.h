#ifndef BENCH_COMPARE_H_
#define BENCH_COMPARE_H_

#include <cstdint>
#include <functional>

#include "bench/cpu_time.h"
#include "bench/figure.h"

namespace orvane::bench {

// Does one piece of work. Returns the processor time of the measured part in nanoseconds.
using Piece = std::function<std::int64_t()>;

// Google Benchmark runs both alternately in random order, so that other load affects both equally.
// `divisor` is the number of counted items in a piece.
Measured Compare(const Piece& ours, const Piece& floor, double divisor);

template <typename Work>
std::int64_t CpuTimeOfWork(Work work) {
  const std::int64_t begin = ThreadCpuTime();
  work();
  return ThreadCpuTime() - begin;
}

}  // namespace orvane::bench

#endif  // BENCH_COMPARE_H_
