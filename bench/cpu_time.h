#ifndef BENCH_CPU_TIME_H_
#define BENCH_CPU_TIME_H_

#include <sys/types.h>
#include <time.h>

#include <cstdint>

namespace orvane::bench {

// Return the processor time in nanoseconds that this thread, or another process, has used so far.
std::int64_t ThreadCpuTime();
std::int64_t CpuTimeOf(pid_t pid);

}  // namespace orvane::bench

#endif  // BENCH_CPU_TIME_H_
