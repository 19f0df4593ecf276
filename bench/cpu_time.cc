#include "bench/cpu_time.h"

#include "platform/logging.h"

namespace orvane::bench {
namespace {

std::int64_t Read(clockid_t clock) {
  timespec time = {};
  CHECK(clock_gettime(clock, &time) == 0);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

std::int64_t ThreadCpuTime() { return Read(CLOCK_THREAD_CPUTIME_ID); }

std::int64_t CpuTimeOf(pid_t pid) {
  clockid_t clock = 0;
  CHECK(clock_getcpuclockid(pid, &clock) == 0) << "Process " << pid;
  return Read(clock);
}

}  // namespace orvane::bench
