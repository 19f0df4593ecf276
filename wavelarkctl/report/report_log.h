#ifndef WAVELARKCTL_REPORT_REPORT_LOG_H_
#define WAVELARKCTL_REPORT_REPORT_LOG_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/files.h"
#include "wavelarkctl/report/report_events.h"

namespace orvane::wavelarkctl {

// A steer in the daemon's log.
struct LoggedSteer {
  std::int64_t t = 0;  // milliseconds since the Unix epoch
  std::string client;  // identifier
};

// Reads the steers in logs of the daemon. "-" is standard input. Addresses are hashed with the
// salt. Throws a Failure: kUnavailable if a log or the salt can't be read, kData for a log without
// a line of the daemon.
std::vector<LoggedSteer> ReadLoggedSteers(const std::vector<std::string>& logs,
                                          const platform::FilePath& salt_file);

// The steers of a log in the period of a report.
struct LoggedSteerCounts {
  std::size_t steers = 0;
  std::size_t without_disconnect = 0;
};

// Marks the disconnect that follows each steer within 10 s as steered. A hostapd that does not
// report steers leaves them unmarked.
LoggedSteerCounts MarkLoggedSteers(const std::vector<LoggedSteer>& steers, ReportEvents* report);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_REPORT_LOG_H_
