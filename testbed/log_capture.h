#ifndef TESTBED_LOG_CAPTURE_H_
#define TESTBED_LOG_CAPTURE_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/logging.h"

namespace orvane::testbed {

// Collects log lines during its lifetime, without the header.
class LogCapture {
 public:
  using Line = std::pair<platform::Severity, std::string>;

  // Also collects verbose lines up to this level.
  explicit LogCapture(int verbose_level = 0) { platform::SetVerboseLevel(verbose_level); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture() { platform::SetVerboseLevel(0); }

  const std::vector<Line>& lines() const { return lines_; }
  void Clear() { lines_.clear(); }

  // Returns the lines of one severity, in order.
  std::vector<std::string> Lines(platform::Severity severity) const {
    std::vector<std::string> lines;
    for (const auto& [line_severity, text] : lines_) {
      if (line_severity == severity) lines.push_back(text);
    }
    return lines;
  }
  bool empty() const { return lines_.empty(); }

 private:
  std::vector<Line> lines_;
  platform::LogListener listener_{[this](platform::Severity severity, std::string_view text) {
    lines_.emplace_back(severity, text);
  }};
};

// Switches off the output of log lines; a LogCapture still collects them. The destructor restores
// the output that a program has at its start, even if there is another SilentLog.
class SilentLog {
 public:
  SilentLog() { platform::InitLog(0, ""); }
  SilentLog(const SilentLog&) = delete;
  SilentLog& operator=(const SilentLog&) = delete;
  ~SilentLog() { platform::InitLog(platform::kLogToStderr | platform::kLogHeader, ""); }
};

}  // namespace orvane::testbed

#endif  // TESTBED_LOG_CAPTURE_H_
