#ifndef WAVELARKCTL_REPLAY_REPLAY_PLOT_H_
#define WAVELARKCTL_REPLAY_REPLAY_PLOT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/time.h"
#include "wavelarkctl/replay/replayer.h"
#include "wavelarkctl/trace/roster.h"

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
  // The metric at the last steer from the client's interface. It is the centre of the band of
  // metrics within the hysteresis.
  Columns last_steer;
  // Column and metric of each steer.
  std::vector<std::pair<std::size_t, std::uint8_t>> steers;
};

// Collects the series of some clients for a plot.
class PlotCollector : public ReplayListener {
 public:
  // Divides the time from `begin` to `end`, which must be later, into `columns` columns.
  PlotCollector(platform::WallTime begin, platform::WallTime end, std::size_t columns,
                platform::TimeSpan poll_interval, const std::vector<std::uint32_t>& clients);

  void OnJudgement(platform::WallTime time, std::uint32_t client,
                   const ap::StationJudgement& judgement) override;
  void OnStay(const Stay& stay) override;

  const PlotSeries& Of(std::uint32_t client) const { return series_.at(client); }

 private:
  std::size_t ColumnOf(platform::WallTime time) const;
  // Adds a metric to the range of each column in a period.
  void Fill(platform::WallTime begin, platform::TimeSpan length, std::uint8_t metric,
            PlotSeries::Columns& columns) const;

  platform::WallTime begin_;
  platform::TimeSpan length_;
  std::size_t columns_;
  platform::TimeSpan poll_interval_;
  std::map<std::uint32_t, PlotSeries> series_;
};

// The diagram of one client with the settings of one run.
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

// The largest number of panels in a plot.
inline constexpr std::size_t kMaxPanels = 24;

// The number of columns that each series can show in a plot with so many panels.
std::size_t ColumnsOf(std::size_t panels);

// A script for gnuplot that writes the plot to standard output as SVG.
std::string GnuplotScript(const Plot& plot);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_REPLAY_PLOT_H_
