#include "testbed/daemon_log.h"

#include <array>
#include <cstddef>

namespace orvane::testbed {
namespace {

// Parses "DATE TIME SEVERITY SOURCE] TEXT".
LogLine ParseLine(std::string_view line) {
  constexpr std::size_t kDateLength = sizeof("2000-01-01 00:00:00.000000 ") - 1;
  constexpr std::size_t kDotAt = sizeof("2000-01-01 00:00:00") - 1;
  const std::size_t end = line.find("] ");
  if (end == std::string_view::npos || end < kDateLength || line[kDotAt] != '.') {
    return {.severity = "", .source = "", .text = std::string(line)};
  }
  const std::string_view header = line.substr(kDateLength, end - kDateLength);
  const std::size_t space = header.find(' ');
  return {.severity = std::string(header.substr(0, space)),
          .source = std::string(space < header.size() ? header.substr(space + 1) : ""),
          .text = std::string(line.substr(end + 2))};
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const LogLine& line) {
  return stream << line.severity << " " << line.source << "] " << line.text;
}

std::vector<LogLine> ParseLog(std::string_view log) {
  std::vector<LogLine> lines;
  for (std::size_t end = log.find('\n'); end != std::string_view::npos; end = log.find('\n')) {
    lines.push_back(ParseLine(log.substr(0, end)));
    log.remove_prefix(end + 1);
  }
  return lines;
}

}  // namespace orvane::testbed
