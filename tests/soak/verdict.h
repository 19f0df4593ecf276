#ifndef TESTS_SOAK_VERDICT_H_
#define TESTS_SOAK_VERDICT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/soak/sample.h"

namespace orvane::soak {

// One thing that must hold, and what was found, for people.
struct Check {
  std::string name;
  bool holds = false;
  std::string finding;
};

// By how much the last quarter of the time may exceed the second one. (The first is for warming
// up.)
struct Bounds {
  std::int64_t growth_kb = 256;  // of anonymous memory, by the medians
  double cpu_ratio = 1.5;        // of processor time for each event and each poll
};

// Memory keeps its size, by the medians of the two quarters.
Check JudgeMemory(const std::vector<Sample>& samples, const Bounds& bounds);

// So does the cost of what is done.
Check JudgeCpu(const std::vector<Sample>& samples, const Bounds& bounds);

// Each count, taken when nothing went on, is the same.
Check JudgeDescriptors(const std::vector<std::int64_t>& counts_at_rest);

// Each check in a line, and above them whether all hold.
std::string VerdictText(const std::vector<Check>& checks);

}  // namespace orvane::soak

#endif  // TESTS_SOAK_VERDICT_H_
