#ifndef WAVELARKCTL_TRACE_SURVEY_H_
#define WAVELARKCTL_TRACE_SURVEY_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/time.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/trace_reader.h"
#include "wavelarkctl/trace_row.h"

namespace orvane::wavelarkctl {

// Each poll asks for all of them.
inline constexpr std::size_t kMaxInterfaces = 64;

// What a replay has to know of a trace before its first row.
struct TraceSurvey {
  std::uint64_t rows = 0;
  platform::WallTime begin;
  platform::WallTime end;
  // The lines whose time is before that of the line before them: how many, and the first of them.
  std::uint64_t set_back = 0;
  std::uint64_t first_set_back = 0;
  // Those that the daemon polls: its own two, if the trace has no others; else those of the trace,
  // in order of appearance.
  std::vector<std::string> interfaces;
  std::size_t clients = 0;
};

// Reads a whole trace, so that nothing is done with one that is wrong, and goes back to its first
// row. Throws a Failure as the reader does, and for a trace without rows, with over kMaxInterfaces,
// or without `client`, if one is given (kData).
TraceSurvey SurveyTrace(TraceReader& reader, const std::optional<Address>& client,
                        Progress& progress);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_SURVEY_H_
