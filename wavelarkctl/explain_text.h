#ifndef WAVELARKCTL_EXPLAIN_TEXT_H_
#define WAVELARKCTL_EXPLAIN_TEXT_H_

#include <string>
#include <vector>

#include "wavelarkctl/explainer.h"

namespace orvane::wavelarkctl {

// What the log shows that needs attention, a sentence each: settings that do not fit, clients that
// bounce, commands without effect, polls that failed, a clock that was set back.
std::vector<std::string> FindAttention(const Explainer& explainer);

// Why a decision was no steer, and how far it was from one: "18 dB above the floor".
std::string ReasonText(const ExplainedDecision& explained);

// The whole log for a terminal: settings, clients, steers, what needs attention. If runs are kept,
// the polls of each client instead of one line for each.
std::string ExplainText(const Explainer& explainer, bool has_runs, bool is_colour_wanted);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EXPLAIN_TEXT_H_
