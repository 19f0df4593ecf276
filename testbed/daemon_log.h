#ifndef TESTBED_DAEMON_LOG_H_
#define TESTBED_DAEMON_LOG_H_

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::testbed {

// A line of the daemon's log. A line without a header (raw text, or another program's output) has
// only its text.
struct LogLine {
  std::string severity;
  std::string source;  // file:line
  std::string text;
};

std::ostream& operator<<(std::ostream& stream, const LogLine& line);

// Parses whole lines only.
std::vector<LogLine> ParseLog(std::string_view log);

}  // namespace orvane::testbed

#endif  // TESTBED_DAEMON_LOG_H_
