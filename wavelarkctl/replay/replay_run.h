#ifndef WAVELARKCTL_REPLAY_REPLAY_RUN_H_
#define WAVELARKCTL_REPLAY_REPLAY_RUN_H_

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "wavelarkctl/replay/replay_summary.h"
#include "wavelarkctl/replay/replayer.h"
#include "wavelarkctl/trace/roster.h"
#include "wavelarkctl/trace/trace_reader.h"
#include "wavelarkctl/trace/trace_survey.h"

namespace orvane::wavelarkctl {

// One replay of a trace: the settings and the outcome.
struct ReplayRun {
  std::string name;
  ReplayOptions options;
  std::unique_ptr<ReplaySummary> summary;
  std::uint64_t polls = 0;
};

// The clients whose rows are replayed; if empty, all.
using ClientFilter = std::set<Address>;

// Replays the rest of a trace with the settings of each run, and notifies the listener with the
// same index. Returns the number of polls of each run. The roster must have the interfaces of the
// survey. Throws a Failure as the reader does, and one of kData for a row of another interface: the
// file has been overwritten since the survey.
std::vector<std::uint64_t> ReplayTrace(TraceReader& reader, const TraceSurvey& survey,
                                       const ClientFilter& filter,
                                       const std::vector<ReplayRun>& runs,
                                       const std::vector<ReplayListener*>& listeners,
                                       Roster& roster);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_REPLAY_RUN_H_
