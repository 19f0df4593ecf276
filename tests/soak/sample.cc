#include "tests/soak/sample.h"

#include <fmt/format.h>
#include <time.h>

#include "platform/logging.h"
#include "testbed/process_figures.h"

namespace orvane::soak {
namespace {

double CpuSeconds(pid_t pid) {
  clockid_t clock = 0;
  timespec time = {};
  CHECK(clock_getcpuclockid(pid, &clock) == 0 && clock_gettime(clock, &time) == 0);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

Sample TakeSample(pid_t pid) {
  const testbed::ProcessFile memory(pid, "smaps_rollup");
  return {.anonymous_kb = memory.Figure("Anonymous"),
          .resident_kb = memory.Figure("Rss"),
          .descriptors = static_cast<std::int64_t>(testbed::DescriptorCount(pid)),
          .cpu_seconds = CpuSeconds(pid)};
}

std::string CsvHead() {
  return "seconds,anonymous_kb,resident_kb,descriptors,cpu_seconds,events,polls\n";
}

std::string CsvLine(const Sample& sample) {
  return fmt::format("{:.1f},{},{},{},{:.3f},{},{}\n", sample.seconds, sample.anonymous_kb,
                     sample.resident_kb, sample.descriptors, sample.cpu_seconds, sample.events,
                     sample.polls);
}

}  // namespace orvane::soak
