#ifndef BENCH_FIGURE_H_
#define BENCH_FIGURE_H_

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvane::bench {

// What several runs gave: the median, and between which values the middle three fifths of them lie.
struct Figure {
  double median = 0;
  double low = 0;
  double high = 0;
};

// There must be at least one sample.
Figure Summarize(std::vector<double> samples);

// What measuring a row gave: ours, and where there is one, the floor of the same work.
struct Measured {
  Figure ours;
  std::optional<Figure> floor;
};

// One line of the table.
struct Row {
  std::string name;  // one word
  std::string what;
  std::string unit;
  // At most so many times the floor; without a floor, at most so much. Some only tell.
  std::optional<double> goal;
  // Nothing where this machine can't do it.
  std::function<std::optional<Measured>()> measure;
};

struct Result {
  Row row;
  Measured measured;

  // What the goal is for: the ratio to the floor, or the figure itself.
  double Value() const;
  bool IsMet() const { return !row.goal || Value() <= *row.goal; }
};

}  // namespace orvane::bench

#endif  // BENCH_FIGURE_H_
