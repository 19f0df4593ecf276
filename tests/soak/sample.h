#ifndef TESTS_SOAK_SAMPLE_H_
#define TESTS_SOAK_SAMPLE_H_

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace orvane::soak {

// The process at one moment, and the work that it had been given by then.
struct Sample {
  double seconds = 0;  // since the first one
  std::int64_t anonymous_kb = 0;
  std::int64_t resident_kb = 0;
  std::int64_t descriptors = 0;
  double cpu_seconds = 0;
  std::int64_t events = 0;
  std::int64_t polls = 0;  // of an interface

  friend bool operator==(const Sample&, const Sample&) = default;
};

// What /proc tells of the process, which has to be there; all that it doesn't tell is 0.
Sample TakeSample(pid_t pid);

// The head of the table and a line of it, each with its line end.
std::string CsvHead();
std::string CsvLine(const Sample& sample);

}  // namespace orvane::soak

#endif  // TESTS_SOAK_SAMPLE_H_
