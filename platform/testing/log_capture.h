#ifndef PLATFORM_TESTING_LOG_CAPTURE_H_
#define PLATFORM_TESTING_LOG_CAPTURE_H_

#include <string>
#include <string_view>
#include <vector>

#include "platform/logging.h"

namespace orvane::platform {

// Keeps what is logged while it lives, without the header.
class LogCapture {
 public:
  // The lines of one severity, in order.
  std::vector<std::string> Lines(Severity severity) const {
    std::vector<std::string> lines;
    for (const Line& line : lines_) {
      if (line.severity == severity) lines.push_back(line.text);
    }
    return lines;
  }
  bool empty() const { return lines_.empty(); }

 private:
  struct Line {
    Severity severity;
    std::string text;
  };

  std::vector<Line> lines_;
  LogListener listener_{[this](Severity severity, std::string_view text) {
    lines_.push_back({severity, std::string(text)});
  }};
};

}  // namespace orvane::platform

#endif  // PLATFORM_TESTING_LOG_CAPTURE_H_
