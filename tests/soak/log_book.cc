#include "tests/soak/log_book.h"

#include <fmt/format.h>

namespace orvane::soak {

void LogBook::Allow(const std::string& severity, const std::string& beginning, std::size_t count) {
  Entry& entry = entries_[beginning];
  entry.severity = severity;
  entry.allowed += count;
}

void LogBook::Take(const testbed::LogLine& line) {
  ++lines_;
  for (auto& [beginning, entry] : entries_) {
    if (line.severity != entry.severity || !line.text.starts_with(beginning)) continue;
    ++entry.seen;
    return;
  }
  unexpected_.push_back(line.severity + " " + line.text);
}

std::size_t LogBook::Count(const std::string& beginning) const {
  const auto found = entries_.find(beginning);
  return found == entries_.end() ? 0 : found->second.seen;
}

Check LogBook::Judge() const {
  Check check = {.name = "the log has only expected lines",
                 .holds = unexpected_.empty(),
                 .finding = fmt::format("{} lines", lines_)};
  for (const auto& [beginning, entry] : entries_) {
    if (entry.seen <= entry.allowed) continue;
    check.holds = false;
    check.finding +=
        fmt::format("; \"{}\" {} times, at most {}", beginning, entry.seen, entry.allowed);
  }
  if (!unexpected_.empty()) {
    check.finding +=
        fmt::format("; {} unexpected, first: {}", unexpected_.size(), unexpected_.front());
  }
  return check;
}

}  // namespace orvane::soak
