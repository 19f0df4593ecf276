#ifndef WAVELARKCTL_REPLAY_REPLAY_TEXT_H_
#define WAVELARKCTL_REPLAY_REPLAY_TEXT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "wavelarkctl/replay/replay_run.h"
#include "wavelarkctl/trace/roster.h"
#include "wavelarkctl/trace/trace_survey.h"

namespace orvane::wavelarkctl {

// Formats runs for a terminal: settings and outcomes side by side, then, of the first run, the
// clients with the most steers and the first steers. There must be at least one run.
std::string ReplayText(const std::string& trace_name, const TraceSurvey& survey,
                       const Roster& roster, const std::vector<ReplayRun>& runs);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_REPLAY_TEXT_H_
