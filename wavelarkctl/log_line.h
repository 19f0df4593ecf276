#ifndef WAVELARKCTL_LOG_LINE_H_
#define WAVELARKCTL_LOG_LINE_H_

#include <optional>
#include <string_view>

#include "platform/time.h"
#include "wavelarkctl/local_time.h"

namespace orvane::wavelarkctl {

// A line that the daemon's logging wrote. The views are into the line.
struct LogLine {
  platform::WallTime time;
  std::string_view severity;  // "VERBOSE1", "INFO", "WARNING", "ERROR" or "FATAL"
  std::string_view message;   // without white space at its ends
};

// Reads the lines of one log, in its order:
//
//   2026-01-31 23:59:59.000001 INFO optimizer/client_steer.cc:12] message
//
// Anything that the journal or a syslog puts before that is skipped.
class LogLineReader {
 public:
  // Takes a line without its line end. Returns nothing for a line of another form.
  std::optional<LogLine> Read(std::string_view line);

 private:
  std::optional<LogLine> ReadFrom(std::string_view line);

  LocalTimeReader time_reader_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_LINE_H_
