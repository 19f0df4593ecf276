#ifndef BENCH_COMPARE_H_
#define BENCH_COMPARE_H_

#include <cstdint>
#include <functional>

#include "bench/cpu_time.h"
#include "bench/figure.h"

namespace orvane::bench {

// Does a piece of work, and says how many nanoseconds of processor time the part of it took that is
// to be measured.
using Piece = std::function<std::int64_t()>;

// Google Benchmark runs both, turn and turn about in a random order, so that what the machine does
// meanwhile meets both alike. `divisor` is how many of what is counted are in a piece.
Measured Compare(const Piece& ours, const Piece& floor, double divisor);

template <typename Work>
std::int64_t CpuTimeOfWork(Work work) {
  const std::int64_t begin = ThreadCpuTime();
  work();
  return ThreadCpuTime() - begin;
}

}  // namespace orvane::bench

#endif  // BENCH_COMPARE_H_
