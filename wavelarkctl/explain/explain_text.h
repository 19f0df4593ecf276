#ifndef WAVELARKCTL_EXPLAIN_EXPLAIN_TEXT_H_
#define WAVELARKCTL_EXPLAIN_EXPLAIN_TEXT_H_

#include <string>
#include <vector>

#include "wavelarkctl/explain/explainer.h"

namespace orvane::wavelarkctl {

// Returns a sentence for each finding that needs attention: settings that do not fit the log,
// clients that are steered repeatedly, commands without effect, polls that failed, files in the
// wrong order, a clock that was set back.
std::vector<std::string> FindAttention(const Explainer& explainer);

// The reason of a decision, and how far it was from a steer: "18 dB above the floor".
std::string ReasonText(const ExplainedDecision& explained);

// Formats a log for a terminal: settings, clients, steers, and what needs attention. With
// `has_runs`, shows the polls of each client instead of one line for each client.
std::string ExplainText(const Explainer& explainer, bool has_runs, bool is_colour_wanted);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EXPLAIN_EXPLAIN_TEXT_H_
