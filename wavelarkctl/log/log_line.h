#ifndef WAVELARKCTL_LOG_LOG_LINE_H_
#define WAVELARKCTL_LOG_LOG_LINE_H_

#include <optional>
#include <string_view>

#include "platform/time.h"
#include "wavelarkctl/log/log_time.h"

namespace orvane::wavelarkctl {

// A line of the daemon's log. The views point into the line.
struct LogLine {
  platform::WallTime time;
  std::string_view severity;  // "VERBOSE1", "INFO", "WARNING", "ERROR" or "FATAL"
  std::string_view message;   // without white space at its ends
};

// Reads the lines of one log, in its order:
//
//   2026-01-31 23:59:59.000001 INFO optimizer/client_steer.cc:12] message
//
// Skips a prefix from the journal or from a syslog.
class LogLineReader {
 public:
  // Takes a line without its line end. Returns nothing for a line of another form.
  std::optional<LogLine> Read(std::string_view line);

 private:
  std::optional<LogLine> ReadFrom(std::string_view line);

  LogTimeReader time_reader_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_LOG_LINE_H_
