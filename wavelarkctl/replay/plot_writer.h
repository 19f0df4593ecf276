#ifndef WAVELARKCTL_REPLAY_PLOT_WRITER_H_
#define WAVELARKCTL_REPLAY_PLOT_WRITER_H_

#include <optional>
#include <vector>

#include "platform/files.h"
#include "wavelarkctl/replay/replay_run.h"
#include "wavelarkctl/trace/roster.h"
#include "wavelarkctl/trace/trace_reader.h"
#include "wavelarkctl/trace/trace_survey.h"

namespace orvane::wavelarkctl {

// Plots `client` over time, or without one the clients with the most steers, with the settings of
// each run. Replays their rows once more. The runs must have their summaries. Throws a Failure
// (kUnavailable) if gnuplot is missing or the file can't be written.
void WritePlot(const platform::FilePath& file, TraceReader& reader, const TraceSurvey& survey,
               const std::vector<ReplayRun>& runs, const std::optional<Address>& client,
               Roster& roster);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_PLOT_WRITER_H_
