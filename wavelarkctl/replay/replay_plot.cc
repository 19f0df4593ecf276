#include "wavelarkctl/replay/replay_plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <ctime>
#include <iterator>
#include <string_view>

#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using platform::TimeSpan;
using platform::WallTime;

constexpr int kSignalOfMetric0 = -100;

// One per interface. Colour-blind readers can tell these apart (Okabe and Ito).
constexpr std::array<std::string_view, 4> kInterfaceColours = {"#0072b2", "#e69f00", "#009e73",
                                                               "#cc79a7"};
constexpr std::string_view kFloorColour = "#d55e00";
constexpr std::string_view kBandColour = "#d4d4d4";
constexpr std::string_view kSteerColour = "#000000";
constexpr std::string_view kTextColour = "#333333";

std::string_view ColourOf(std::size_t interface) {
  return kInterfaceColours[interface % kInterfaceColours.size()];
}

// The size of a panel and of the margins around all, in pixels.
struct Layout {
  std::size_t columns;
  std::size_t rows;
  std::size_t width;
  std::size_t height;
  double most_tics;  // on a time axis
};
constexpr std::size_t kLeft = 70;
constexpr std::size_t kRight = 60;
constexpr std::size_t kTop = 90;
constexpr std::size_t kBottom = 40;
constexpr std::size_t kGapWidth = 50;
constexpr std::size_t kGapHeight = 60;

Layout LayoutOf(std::size_t panels) {
  if (panels == 1) return {1, 1, 860, 330, 9};
  const std::size_t columns = panels <= 4 ? 2 : 3;
  return {columns, (panels + columns - 1) / columns, 400, 180, 5};
}

std::size_t WidthOf(const Layout& layout) {
  return kLeft + kRight + layout.columns * layout.width + (layout.columns - 1) * kGapWidth;
}

std::size_t HeightOf(const Layout& layout) {
  return kTop + kBottom + layout.rows * layout.height + (layout.rows - 1) * kGapHeight;
}

// Gnuplot does not interpret anything in a quoted text. Replaces all but printable ASCII, because
// other bytes could make the SVG invalid.
std::string Quote(std::string_view text) {
  std::string quoted = "'";
  for (const char character : text) {
    if (character == '\'') quoted += '\'';
    quoted += character < ' ' || character > '~' ? '?' : character;
  }
  return quoted + "'";
}

// Gnuplot's times have no zone, so the zone offset at the start of the plot is used throughout.
class TimeAxis {
 public:
  explicit TimeAxis(const Plot& plot)
      : begin_(SecondsOf(plot.begin)),
        length_(SecondsOf(plot.end) - begin_),
        columns_(static_cast<double>(plot.columns)) {
    const auto begin = static_cast<std::time_t>(begin_);
    std::tm calendar = {};
    if (localtime_r(&begin, &calendar) != nullptr)
      begin_ += static_cast<double>(calendar.tm_gmtoff);
  }

  double begin() const { return begin_; }
  double end() const { return begin_ + length_; }
  double At(double column) const { return begin_ + length_ * column / columns_; }
  // Returns the distance of tics in seconds: the shortest round one with at most `most` tics.
  double Step(double most) const {
    constexpr std::array<double, 13> kSteps = {1,    5,    15,     60,     300,    900,   1800,
                                               3600, 7200, 14'400, 21'600, 43'200, 86'400};
    for (const double step : kSteps) {
      if (length_ <= step * most) return step;
    }
    return std::ceil(length_ / most / kSteps.back()) * kSteps.back();
  }
  static const char* FormatOf(double step) {
    constexpr double kMinute = 60;
    constexpr double kDay = 86'400;
    if (step < kMinute) return "%H:%M:%S";
    return step < kDay ? "%H:%M" : "%d %b";
  }

 private:
  static double SecondsOf(WallTime time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
  }

  double begin_;
  double length_;
  double columns_;
};

int Signal(int metric) { return metric + kSignalOfMetric0; }

// The rows of a data block, "time low high", with an empty row in each gap. Extends each range by
// `margin` in both directions.
std::string RangeRows(const PlotSeries::Columns& columns, int margin, const TimeAxis& axis) {
  std::string rows;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!columns[i]) {
      rows += '\n';
      continue;
    }
    const int low = Signal(std::max(columns[i]->lowest - margin, 0));
    const int high = Signal(std::min(columns[i]->highest + margin, 100));
    // From edge to edge, so that a single column is visible.
    for (const std::size_t edge : {i, i + 1}) {
      rows += fmt::format("{:.1f} {} {}\n", axis.At(static_cast<double>(edge)), low, high);
    }
  }
  return rows;
}

bool IsEmpty(const PlotSeries::Columns& columns) {
  return std::ranges::none_of(columns, [](const auto& column) { return column.has_value(); });
}

// Collects data blocks and the parts of a plot command that draw them.
class PanelScript {
 public:
  PanelScript(std::size_t number, const TimeAxis& axis) : number_(number), axis_(axis) {}

  void AddBand(const PlotSeries::Columns& columns, int margin) {
    Add(RangeRows(columns, margin, axis_),
        fmt::format("using 1:2:3 with filledcurves fillcolor rgb '{}'", kBandColour));
  }
  void AddMetrics(const PlotSeries::Columns& columns, std::string_view colour) {
    const std::string rows = RangeRows(columns, 0, axis_);
    Add(rows, fmt::format("using 1:2:3 with filledcurves fillcolor rgb '{}'", colour));
    Add(rows,
        fmt::format("using 1:(($2+$3)/2) with lines linewidth 1.5 linecolor rgb '{}'", colour));
  }
  void AddFloor(int floor) {
    Add(fmt::format("{0} {2}\n{1} {2}\n", axis_.begin(), axis_.end(), Signal(floor)),
        fmt::format("using 1:2 with lines dashtype (8,4) linewidth 1.5 linecolor rgb '{}'",
                    kFloorColour));
  }
  void AddSteers(const PlotSeries& series, double size) {
    std::string rows;
    for (const auto& [column, metric] : series.steers) {
      rows +=
          fmt::format("{:.1f} {}\n", axis_.At(static_cast<double>(column) + 0.5), Signal(metric));
    }
    Add(rows, fmt::format("using 1:2 with points pointtype 11 pointsize {} linecolor rgb '{}'",
                          size, kSteerColour));
  }

  std::string blocks() const { return blocks_; }
  std::string command() const { return "plot " + parts_ + "\n"; }

 private:
  void Add(const std::string& rows, const std::string& style) {
    if (rows.find_first_not_of('\n') == std::string::npos) return;
    const std::string name = fmt::format("$panel{}_{}", number_, parts_count_++);
    blocks_ += fmt::format("{} << EOD\n{}EOD\n", name, rows);
    parts_ += fmt::format("{}{} {} notitle", parts_.empty() ? "" : ", ", name, style);
  }

  std::size_t number_;
  const TimeAxis& axis_;
  int parts_count_ = 0;
  std::string blocks_;
  std::string parts_;
};

std::string PanelCommands(const Plot& plot, std::size_t number, const TimeAxis& axis) {
  const PlotPanel& panel = plot.panels[number];
  PanelScript script(number, axis);
  script.AddBand(panel.series->last_steer, panel.lqm_hysteresis);
  for (const auto& [interface, columns] : panel.series->metrics) {
    script.AddMetrics(columns, ColourOf(interface));
  }
  script.AddFloor(panel.lqm_floor);
  script.AddSteers(*panel.series, plot.panels.size() == 1 ? 1 : 0.7);
  const bool is_leftmost = number % LayoutOf(plot.panels.size()).columns == 0;
  return fmt::format("{}set title {} offset 0,-0.4\nset ylabel {}\n{}unset label\n",
                     script.blocks(), Quote(panel.title),
                     is_leftmost ? "'average signal (dBm)'" : "''", script.command());
}

// One entry of the legend: a sample and its text.
struct LegendEntry {
  std::string_view sample;  // in quotes
  std::string_view colour;
  std::string text;
};

std::vector<LegendEntry> LegendOf(const Plot& plot) {
  std::vector<LegendEntry> entries;
  for (std::size_t i = 0; i < plot.interfaces.size(); ++i) {
    const bool is_used = std::ranges::any_of(plot.panels, [i](const PlotPanel& panel) {
      const auto found = panel.series->metrics.find(static_cast<std::uint32_t>(i));
      return found != panel.series->metrics.end() && !IsEmpty(found->second);
    });
    if (is_used) entries.push_back({"'\u25ac'", ColourOf(i), "signal at " + plot.interfaces[i]});
  }
  entries.push_back({"'\u2501 \u2501'", kFloorColour, "floor"});
  entries.push_back({"'\u25a0'", kBandColour, "no steer: within the hysteresis"});
  entries.push_back({"'\u25bc'", kSteerColour, "steer"});
  return entries;
}

// Gnuplot draws labels with the next panel.
std::string LegendCommands(const Plot& plot, const Layout& layout) {
  constexpr double kCharacterWidth = 7;  // on average
  constexpr double kSampleWidth = 30;
  constexpr double kBelowTop = 45;
  const auto width = static_cast<double>(WidthOf(layout));
  const double y = 1 - kBelowTop / static_cast<double>(HeightOf(layout));
  std::string commands;
  double x = kLeft;
  const auto add = [&](std::string_view text, std::string_view colour) {
    commands += fmt::format("set label {} at screen {:.4f},{:.4f} textcolor rgb '{}'\n", text,
                            x / width, y, colour);
  };
  for (const LegendEntry& entry : LegendOf(plot)) {
    add(entry.sample, entry.colour);
    x += kSampleWidth;
    add(Quote(entry.text), kTextColour);
    x += kCharacterWidth * static_cast<double>(entry.text.size()) + kSampleWidth;
  }
  return commands;
}

std::string TitleCommands(const Plot& plot, const Layout& layout) {
  constexpr double kBelowTop = 20;
  return fmt::format(
      "set label {} at screen {:.4f},{:.4f} font ',14'\n",
      Quote(fmt::format("Clients and steers, {} to {}, local time", FormatLocalSeconds(plot.begin),
                        FormatLocalSeconds(plot.end))),
      kLeft / static_cast<double>(WidthOf(layout)),
      1 - kBelowTop / static_cast<double>(HeightOf(layout)));
}

// The highest signal that a panel shows, in whole tens of dBm.
int HighestSignal(const Plot& plot) {
  int highest = -60;
  for (const PlotPanel& panel : plot.panels) {
    highest = std::max(highest, Signal(panel.lqm_floor));
    for (const auto& [interface, columns] : panel.series->metrics) {
      for (const auto& column : columns) {
        if (column) highest = std::max(highest, Signal(column->highest));
      }
    }
  }
  return std::min((highest + 100) / 10 * 10 - 90, 0);
}

std::string LayoutCommands(const Layout& layout) {
  const auto width = static_cast<double>(WidthOf(layout));
  const auto height = static_cast<double>(HeightOf(layout));
  return fmt::format(
      "set encoding utf8\nset terminal svg size {},{} font 'sans-serif,12' noenhanced background "
      "'#ffffff'\n"
      "set multiplot layout {},{} margins screen {:.4f},{:.4f},{:.4f},{:.4f} "
      "spacing screen {:.4f},{:.4f}\n",
      width, height, layout.rows, layout.columns, kLeft / width, 1 - kRight / width,
      kBottom / height, 1 - kTop / height, kGapWidth / width, kGapHeight / height);
}

std::string AxisCommands(const Plot& plot, const Layout& layout, const TimeAxis& axis) {
  const double step = axis.Step(layout.most_tics);
  std::string commands = fmt::format(
      "set xdata time\nset timefmt '%s'\nset format x '{}'\nset xrange ['{:.3f}':'{:.3f}']\n"
      "set xtics {} nomirror\nset yrange [-100:{}]\nset ytics 10 nomirror\nset border 3\n"
      "set grid ytics linecolor rgb '#eeeeee' linetype 1\nset style fill solid 1 noborder\n",
      TimeAxis::FormatOf(step), axis.begin(), axis.end(), step, HighestSignal(plot));
  if (plot.panels.size() == 1) {
    commands +=
        "set link y2 via y+100 inverse y-100\nset y2tics 10\nset border 11\n"
        "set y2label 'link quality metric'\n";
  }
  return commands;
}

}  // namespace

std::size_t ColumnsOf(std::size_t panels) {
  constexpr std::size_t kPixels = 2;
  return LayoutOf(panels).width / kPixels;
}

PlotCollector::PlotCollector(WallTime begin, WallTime end, std::size_t columns,
                             TimeSpan poll_interval, const std::vector<std::uint32_t>& clients)
    : begin_(begin), length_(end - begin), columns_(columns), poll_interval_(poll_interval) {
  for (const std::uint32_t client : clients) series_[client].last_steer.resize(columns_);
}

// Clamps times outside the plot. A clock that was set back leads to them.
std::size_t PlotCollector::ColumnOf(WallTime time) const {
  const double part = std::chrono::duration<double>(time - begin_) / length_;
  const auto count = static_cast<double>(columns_);
  return static_cast<std::size_t>(std::clamp(part * count, 0.0, count - 1));
}

void PlotCollector::Fill(WallTime begin, TimeSpan length, std::uint8_t metric,
                         PlotSeries::Columns& columns) const {
  const std::size_t last = ColumnOf(begin + length);
  for (std::size_t i = ColumnOf(begin); i <= last; ++i) {
    std::optional<PlotSeries::Range>& column = columns[i];
    if (!column) column = {metric, metric};
    column->lowest = std::min(column->lowest, metric);
    column->highest = std::max(column->highest, metric);
  }
}

// A decision holds until the next poll.
void PlotCollector::OnJudgement(WallTime time, std::uint32_t client,
                                const ap::StationJudgement& judgement) {
  const auto found = series_.find(client);
  if (found == series_.end()) return;
  PlotSeries& series = found->second;
  const ap::SteerInputs& inputs = judgement.inputs;
  const bool is_steered = judgement.verdict == ap::SteerVerdict::kSteered;
  if (is_steered) series.steers.emplace_back(ColumnOf(time), inputs.link_quality_metric);
  const std::uint8_t last_steer =
      is_steered ? inputs.link_quality_metric : inputs.last_steer_link_quality_metric;
  series.last_steer[ColumnOf(time)].reset();
  Fill(time, poll_interval_, last_steer, series.last_steer);
}

void PlotCollector::OnStay(const Stay& stay) {
  const auto found = series_.find(stay.client);
  if (found == series_.end()) return;
  PlotSeries::Columns& columns =
      found->second.metrics.try_emplace(stay.interface, columns_).first->second;
  Fill(stay.begin, stay.length, stay.metric, columns);
}

std::string GnuplotScript(const Plot& plot) {
  const Layout layout = LayoutOf(plot.panels.size());
  const TimeAxis axis(plot);
  std::string script = LayoutCommands(layout) + AxisCommands(plot, layout, axis) +
                       TitleCommands(plot, layout) + LegendCommands(plot, layout);
  for (std::size_t i = 0; i < plot.panels.size(); ++i) script += PanelCommands(plot, i, axis);
  return script + "unset multiplot\n";
}

}  // namespace orvane::wavelarkctl
