#ifndef TESTS_SOAK_VERDICT_H_
#define TESTS_SOAK_VERDICT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/soak/sample.h"

namespace orvane::soak {

// A check and its finding, for people.
struct Check {
  std::string name;
  bool holds = false;
  std::string finding;
};

// By how much the last quarter of the time may exceed the second one. (The first is for warming
// up.)
struct Bounds {
  std::int64_t growth_kb = 256;  // of anonymous memory, by the medians
  double cpu_ratio = 1.5;        // of processor time per event and poll
};

// Memory does not grow, by the medians of the two quarters.
Check JudgeMemory(const std::vector<Sample>& samples, const Bounds& bounds);

// The cost of work does not grow.
Check JudgeCpu(const std::vector<Sample>& samples, const Bounds& bounds);

// All counts, taken during rest, are equal.
Check JudgeDescriptors(const std::vector<std::int64_t>& counts_at_rest);

// Returns the overall verdict and a line for each check.
std::string VerdictText(const std::vector<Check>& checks);

}  // namespace orvane::soak

#endif  // TESTS_SOAK_VERDICT_H_
