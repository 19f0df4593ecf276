#include "tests/soak/verdict.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace orvane::soak {
namespace {

using Samples = std::span<const Sample>;

// Returns one of the four quarters, numbered from 0; empty if there are too few samples.
Samples Quarter(const std::vector<Sample>& samples, std::size_t number) {
  const std::size_t length = samples.size() / 4;
  return Samples(samples).subspan(number * length, length);
}

std::int64_t MedianOfMemory(Samples samples) {
  std::vector<std::int64_t> sizes;
  for (const Sample& sample : samples) sizes.push_back(sample.anonymous_kb);
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::ranges::nth_element(sizes, middle);
  return *middle;
}

// Returns processor microseconds per event and poll of an interface.
double CostOfWork(Samples samples) {
  const Sample& begin = samples.front();
  const Sample& end = samples.back();
  const std::int64_t work = end.events - begin.events + end.polls - begin.polls;
  if (work <= 0) return 0;
  return (end.cpu_seconds - begin.cpu_seconds) * 1e6 / static_cast<double>(work);
}

constexpr std::size_t kFewestSamples = 8;

Check TooShort(const std::string& name) {
  return {.name = name, .holds = false, .finding = "too few samples"};
}

}  // namespace

Check JudgeMemory(const std::vector<Sample>& samples, const Bounds& bounds) {
  const std::string name = "anonymous memory does not grow";
  if (samples.size() < kFewestSamples) return TooShort(name);
  const std::int64_t second = MedianOfMemory(Quarter(samples, 1));
  const std::int64_t last = MedianOfMemory(Quarter(samples, 3));
  return {
      .name = name,
      .holds = second > 0 && last - second <= bounds.growth_kb,
      .finding = fmt::format("{} kB in the second quarter, {} kB in the last ({:+}, at most +{})",
                             second, last, last - second, bounds.growth_kb)};
}

Check JudgeCpu(const std::vector<Sample>& samples, const Bounds& bounds) {
  const std::string name = "the processor time per event and poll does not grow";
  if (samples.size() < kFewestSamples) return TooShort(name);
  const double second = CostOfWork(Quarter(samples, 1));
  const double last = CostOfWork(Quarter(samples, 3));
  return {.name = name,
          .holds = second > 0 && last > 0 && last <= second * bounds.cpu_ratio,
          .finding = fmt::format("{:.1f} us in the second quarter, {:.1f} us in the last (at most "
                                 "{:.1f} times that)",
                                 second, last, bounds.cpu_ratio)};
}

Check JudgeDescriptors(const std::vector<std::int64_t>& counts_at_rest) {
  Check check = {.name = "the number of descriptors at rest is constant",
                 .holds = false,
                 .finding = "not counted"};
  if (counts_at_rest.empty()) return check;
  const auto [least, most] = std::ranges::minmax(counts_at_rest);
  check.holds = least == most && least > 0;
  check.finding = fmt::format("{} to {}, counted {} times", least, most, counts_at_rest.size());
  return check;
}

std::string VerdictText(const std::vector<Check>& checks) {
  const bool all_hold = !checks.empty() &&
                        std::ranges::all_of(checks, [](const Check& check) { return check.holds; });
  std::string text = all_hold ? "good\n" : "BAD\n";
  for (const Check& check : checks) {
    text += fmt::format("{:<4} {}: {}\n", check.holds ? "ok" : "BAD", check.name, check.finding);
  }
  return text;
}

}  // namespace orvane::soak
