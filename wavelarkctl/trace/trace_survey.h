#ifndef WAVELARKCTL_TRACE_TRACE_SURVEY_H_
#define WAVELARKCTL_TRACE_TRACE_SURVEY_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/time.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/trace/trace_reader.h"
#include "wavelarkctl/trace/trace_row.h"

namespace orvane::wavelarkctl {

// Each poll requests all of them.
inline constexpr std::size_t kMaxInterfaces = 64;

// What a replay must know about a trace before its first row.
struct TraceSurvey {
  std::uint64_t rows = 0;
  platform::WallTime begin;
  platform::WallTime end;
  // The lines whose time is before that of the previous line: their number, and the first of them.
  std::uint64_t set_back = 0;
  std::uint64_t first_set_back = 0;
  // The interfaces to poll: the daemon's own two if the trace has no others, otherwise those of the
  // trace, in order of appearance.
  std::vector<std::string> interfaces;
  std::size_t clients = 0;
};

// Reads a whole trace to check it, and goes back to its first row. Throws a Failure as the reader
// does, and one of kData for a trace without rows, with over kMaxInterfaces interfaces, or without
// rows of `client`.
TraceSurvey SurveyTrace(TraceReader& reader, const std::optional<Address>& client,
                        Progress& progress);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_TRACE_SURVEY_H_
