#ifndef WAVELARKCTL_REPLAY_TEXT_H_
#define WAVELARKCTL_REPLAY_TEXT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "wavelarkctl/replay_run.h"
#include "wavelarkctl/roster.h"
#include "wavelarkctl/trace_survey.h"

namespace orvane::wavelarkctl {

// For people: the settings and their outcomes side by side, then the clients that were steered most
// and the first steers, both with the first settings. There is at least one run.
std::string ReplayText(const std::string& trace_name, const TraceSurvey& survey,
                       const Roster& roster, const std::vector<ReplayRun>& runs);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_TEXT_H_
