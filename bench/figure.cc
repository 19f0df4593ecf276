#include "bench/figure.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "platform/logging.h"

namespace orvane::bench {
namespace {

constexpr double kLowShare = 0.2;
constexpr double kHighShare = 0.8;

// Interpolates linearly between two samples.
double Quantile(const std::vector<double>& sorted, double share) {
  const double position = share * static_cast<double>(sorted.size() - 1);
  const double below = std::floor(position);
  const auto index = static_cast<std::size_t>(below);
  const std::size_t next = std::min(index + 1, sorted.size() - 1);
  return sorted[index] + (position - below) * (sorted[next] - sorted[index]);
}

}  // namespace

Figure Summarize(std::vector<double> samples) {
  CHECK(!samples.empty());
  std::sort(samples.begin(), samples.end());
  return {.median = Quantile(samples, 0.5),
          .low = Quantile(samples, kLowShare),
          .high = Quantile(samples, kHighShare)};
}

double Result::Value() const {
  return measured.floor ? measured.ours.median / measured.floor->median : measured.ours.median;
}

}  // namespace orvane::bench
