#include "wavelarkctl/replay/plot_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

#include "wavelarkctl/human_text.h"
#include "wavelarkctl/output_file.h"
#include "wavelarkctl/replay/gnuplot.h"
#include "wavelarkctl/replay/replay_plot.h"

namespace orvane::wavelarkctl {
namespace {

// The clients with the most steers in any run, then the first clients of the trace.
std::vector<std::uint32_t> ChooseClients(const std::vector<ReplayRun>& runs,
                                         const std::optional<Address>& client, Roster& roster) {
  if (client) return {roster.ClientNumber(*client)};
  const std::size_t limit = std::max<std::size_t>(kMaxPanels / runs.size(), 1);
  std::vector<std::uint32_t> chosen;
  const auto add = [&](std::uint32_t number) {
    if (chosen.size() < limit && std::ranges::find(chosen, number) == chosen.end()) {
      chosen.push_back(number);
    }
  };
  for (const ReplayRun& run : runs) {
    for (const std::uint32_t number : run.summary->MostSteered(limit)) add(number);
  }
  for (std::uint32_t number = 0; number < roster.clients().size(); ++number) add(number);
  return chosen;
}

PlotPanel MakePanel(const ReplayRun& run, const std::string& address, const PlotSeries& series,
                    bool has_name) {
  const SteerLimits limits = LimitsOf(PolicyOf(run.options.settings));
  return {fmt::format("{}{}{}: {}", address, has_name ? ", " : "", has_name ? run.name : "",
                      Count(series.steers.size(), "steer")),
          &series, limits.lqm_floor, limits.lqm_hysteresis};
}

}  // namespace

void WritePlot(const platform::FilePath& file, TraceReader& reader, const TraceSurvey& survey,
               const std::vector<ReplayRun>& runs, const std::optional<Address>& client,
               Roster& roster) {
  const std::vector<std::uint32_t> clients = ChooseClients(runs, client, roster);
  Plot plot = {.begin = survey.begin,
               .end = std::max(survey.end, survey.begin + std::chrono::seconds(1)),
               .interfaces = survey.interfaces,
               .columns = ColumnsOf(clients.size() * runs.size()),
               .panels = {}};
  std::vector<std::unique_ptr<PlotCollector>> collectors;
  std::vector<ReplayListener*> listeners;
  for (const ReplayRun& run : runs) {
    collectors.push_back(std::make_unique<PlotCollector>(plot.begin, plot.end, plot.columns,
                                                         PollIntervalOf(run.options), clients));
    listeners.push_back(collectors.back().get());
  }
  ClientFilter filter;
  for (const std::uint32_t number : clients) filter.insert(roster.clients()[number]);
  reader.Rewind();
  ReplayTrace(reader, survey, filter, runs, listeners, roster);
  for (const std::uint32_t number : clients) {
    for (std::size_t i = 0; i < runs.size(); ++i) {
      plot.panels.push_back(MakePanel(runs[i], FormatAddress(roster.clients()[number]),
                                      collectors[i]->Of(number), runs.size() > 1));
    }
  }
  WriteOutputFile(file, RunGnuplot(GnuplotScript(plot)));
}

}  // namespace orvane::wavelarkctl
