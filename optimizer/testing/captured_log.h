#ifndef OPTIMIZER_TESTING_CAPTURED_LOG_H_
#define OPTIMIZER_TESTING_CAPTURED_LOG_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/logging.h"

namespace orvane::ap {

// The lines that are logged while it is alive, verbose ones of the given level included.
class CapturedLog {
 public:
  using Line = std::pair<platform::Severity, std::string>;

  explicit CapturedLog(int verbose_level = 0) { platform::SetVerboseLevel(verbose_level); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog() { platform::SetVerboseLevel(0); }

  const std::vector<Line>& lines() const { return lines_; }
  void Clear() { lines_.clear(); }

 private:
  std::vector<Line> lines_;
  platform::LogListener listener_{[this](platform::Severity severity, std::string_view text) {
    lines_.emplace_back(severity, text);
  }};
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_TESTING_CAPTURED_LOG_H_
