#ifndef BENCH_FIGURE_H_
#define BENCH_FIGURE_H_

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvane::bench {

// The result of several runs: the median, and the range of the middle three fifths.
struct Figure {
  double median = 0;
  double low = 0;
  double high = 0;
};

// `samples` must not be empty.
Figure Summarize(std::vector<double> samples);

// The measurement of a row: ours and, if there is one, the floor of the same work.
struct Measured {
  Figure ours;
  std::optional<Figure> floor;
};

// A row of the table.
struct Row {
  std::string name;  // one word
  std::string what;
  std::string unit;
  // The maximum ratio to the floor or, without a floor, the maximum value. Rows without a goal are
  // informational.
  std::optional<double> goal;
  // Returns nothing if this machine can't measure it.
  std::function<std::optional<Measured>()> measure;
};

struct Result {
  Row row;
  Measured measured;

  // The value that the goal limits: the ratio to the floor, or the value itself.
  double Value() const;
  bool IsMet() const { return !row.goal || Value() <= *row.goal; }
};

}  // namespace orvane::bench

#endif  // BENCH_FIGURE_H_
