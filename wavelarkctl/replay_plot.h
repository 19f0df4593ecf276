#ifndef WAVELARKCTL_REPLAY_PLOT_H_
#define WAVELARKCTL_REPLAY_PLOT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/time.h"
#include "wavelarkctl/replayer.h"
#include "wavelarkctl/roster.h"

namespace orvane::wavelarkctl {

// One client over time, in columns of equal width.
struct PlotSeries {
  struct Range {
    std::uint8_t lowest;
    std::uint8_t highest;
  };
  using Columns = std::vector<std::optional<Range>>;

  // By interface: the metrics of each column.
  std::map<std::uint32_t, Columns> metrics;
  // The metric at the last steer from the interface of the client. It is in the middle of the
  // metrics that do not steer.
  Columns last_steer;
  // Column and metric of each steer.
  std::vector<std::pair<std::size_t, std::uint8_t>> steers;
};

// Collects what a plot of some clients needs.
class PlotCollector : public ReplayListener {
 public:
  // The time of the trace from `begin` to `end`, which is later, is divided into so many columns.
  PlotCollector(platform::WallTime begin, platform::WallTime end, std::size_t columns,
                platform::TimeSpan poll_interval, const std::vector<std::uint32_t>& clients);

  void OnJudgement(platform::WallTime time, std::uint32_t client,
                   const ap::StationJudgement& judgement) override;
  void OnStay(const Stay& stay) override;

  const PlotSeries& Of(std::uint32_t client) const { return series_.at(client); }

 private:
  std::size_t ColumnOf(platform::WallTime time) const;
  // Extends what each column has by the metrics up to a time.
  void Fill(platform::WallTime begin, platform::TimeSpan length, std::uint8_t metric,
            PlotSeries::Columns& columns) const;

  platform::WallTime begin_;
  platform::TimeSpan length_;
  std::size_t columns_;
  platform::TimeSpan poll_interval_;
  std::map<std::uint32_t, PlotSeries> series_;
};

// One of the small multiples.
struct PlotPanel {
  std::string title;
  const PlotSeries* series;
  std::uint8_t lqm_floor;
  std::uint8_t lqm_hysteresis;
};

struct Plot {
  platform::WallTime begin;
  platform::WallTime end;
  std::vector<std::string> interfaces;
  std::size_t columns;            // of each series
  std::vector<PlotPanel> panels;  // at least one
};

// The most panels of a plot.
inline constexpr std::size_t kMaxPanels = 24;

// How many columns a plot of so many panels can show.
std::size_t ColumnsOf(std::size_t panels);

// The input of gnuplot that draws the plot as SVG to its standard output.
std::string GnuplotScript(const Plot& plot);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_PLOT_H_
