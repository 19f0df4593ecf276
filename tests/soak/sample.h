#ifndef TESTS_SOAK_SAMPLE_H_
#define TESTS_SOAK_SAMPLE_H_

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace orvane::soak {

// The state of the process at one time, and the work so far.
struct Sample {
  double seconds = 0;  // since the first sample
  std::int64_t anonymous_kb = 0;
  std::int64_t resident_kb = 0;
  std::int64_t descriptors = 0;
  double cpu_seconds = 0;
  std::int64_t events = 0;
  std::int64_t polls = 0;  // polls of an interface

  friend bool operator==(const Sample&, const Sample&) = default;
};

// Reads /proc of the process, which must exist. Fields from other sources stay 0.
Sample TakeSample(pid_t pid);

// Return the head of the table, or one line of it, with the line end.
std::string CsvHead();
std::string CsvLine(const Sample& sample);

}  // namespace orvane::soak

#endif  // TESTS_SOAK_SAMPLE_H_
