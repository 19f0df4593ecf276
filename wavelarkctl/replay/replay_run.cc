#include "wavelarkctl/replay/replay_run.h"

#include <fmt/format.h>

#include "wavelarkctl/command.h"
#include "wavelarkctl/progress.h"

namespace orvane::wavelarkctl {

// The rows of all clients advance the time, also those that the filter leaves out.
std::vector<std::uint64_t> ReplayTrace(TraceReader& reader, const TraceSurvey& survey,
                                       const ClientFilter& filter,
                                       const std::vector<ReplayRun>& runs,
                                       const std::vector<ReplayListener*>& listeners,
                                       Roster& roster) {
  std::vector<std::unique_ptr<Replayer>> replayers;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    replayers.push_back(
        std::make_unique<Replayer>(runs[i].options, roster, survey.begin, listeners[i]));
  }
  Progress progress("rows replayed");
  TraceRow row;
  while (reader.Next(&row)) {
    progress.Add();
    for (const auto& replayer : replayers) replayer->MoveTo(row.time);
    if (!filter.empty() && !filter.contains(row.address)) continue;
    const Sighting sighting = {.interface = roster.InterfaceNumber(row.interface),
                               .client = roster.ClientNumber(row.address),
                               .signal = row.signal,
                               .is_authorized = row.is_authorized};
    if (sighting.interface >= survey.interfaces.size()) {
      throw Failure(ExitStatus::kData, fmt::format("{}:{}: the file has changed", reader.name(),
                                                   reader.line_number()));
    }
    for (const auto& replayer : replayers) replayer->Feed(sighting);
  }
  std::vector<std::uint64_t> polls;
  for (const auto& replayer : replayers) {
    replayer->Finish();
    polls.push_back(replayer->polls());
  }
  return polls;
}

}  // namespace orvane::wavelarkctl
