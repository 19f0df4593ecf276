#ifndef WAVELARKCTL_REPLAY_GNUPLOT_H_
#define WAVELARKCTL_REPLAY_GNUPLOT_H_

#include <string>

namespace orvane::wavelarkctl {

// Runs gnuplot with a script and returns what it writes to standard output. Throws a Failure
// (kUnavailable) if it is missing or fails.
std::string RunGnuplot(const std::string& script);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_GNUPLOT_H_
