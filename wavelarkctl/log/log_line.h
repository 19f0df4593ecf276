#ifndef WAVELARKCTL_LOG_LOG_LINE_H_
#define WAVELARKCTL_LOG_LOG_LINE_H_

#include <cstddef>
#include <optional>
#include <string_view>
#include <unordered_set>

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
// Skips a prefix from the journal or from a syslog. The daemon writes each line to standard error
// and to the system log. If both are the journal, it has each line twice, and the second one may
// come some lines later.
class LogLineReader {
 public:
  // Takes a line without its line end. Returns nothing for a line of another form, and for one that
  // was read within the last seconds.
  std::optional<LogLine> Read(std::string_view line);

 private:
  std::optional<LogLine> ReadWhole(std::string_view line);
  std::optional<LogLine> ReadFrom(std::string_view line);
  bool IsRepeated(const LogLine& line);

  LogTimeReader time_reader_;
  // Hashes of the lines since recent_begin_, and of those in the period before.
  std::unordered_set<std::size_t> recent_;
  std::unordered_set<std::size_t> earlier_;
  platform::WallTime recent_begin_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_LOG_LINE_H_
