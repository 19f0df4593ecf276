#include "wavelarkctl/log/log_line.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/text.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::array<std::string_view, 5> kSeverities = {"VERBOSE1", "INFO", "WARNING", "ERROR",
                                                         "FATAL"};
constexpr std::size_t kPriorityLength = 3;  // "<6>"
// Maximum time from a line to its copy.
constexpr platform::TimeSpan kRepetition = std::chrono::seconds(2);

// Removes the text up to and including the separator. Returns the text before the separator. If
// there is no separator, removes everything and returns an empty text.
std::string_view TakeUntil(std::string_view* text, std::string_view separator) {
  const std::size_t end = text->find(separator);
  const std::string_view taken = end == std::string_view::npos ? "" : text->substr(0, end);
  text->remove_prefix(end == std::string_view::npos ? text->size() : end + separator.size());
  return taken;
}

bool HasPriority(std::string_view line) {
  return line.size() > kPriorityLength && line[0] == '<' && line[2] == '>';
}

}  // namespace

std::optional<LogLine> LogLineReader::ReadFrom(std::string_view line) {
  if (line.size() <= kLogTimeLength || line[kLogTimeLength] != ' ') return std::nullopt;
  std::string_view rest = line.substr(kLogTimeLength + 1);
  const std::string_view severity = TakeUntil(&rest, " ");
  if (std::ranges::find(kSeverities, severity) == kSeverities.end()) return std::nullopt;
  const std::string_view location = TakeUntil(&rest, "] ");
  if (location.find(':') == std::string_view::npos) return std::nullopt;
  const auto time = time_reader_.Read(line.substr(0, kLogTimeLength));
  if (!time) return std::nullopt;
  return LogLine{*time, severity, platform::TrimWhitespace(rest)};
}

std::optional<LogLine> LogLineReader::ReadWhole(std::string_view line) {
  if (HasPriority(line)) line.remove_prefix(kPriorityLength);
  if (const auto found = ReadFrom(line)) return found;
  // "Jan 31 23:59:59 host ap-wavelark[123]: " or another prefix that ends in "]: ".
  TakeUntil(&line, "]: ");
  return ReadFrom(line);
}

bool LogLineReader::IsRepeated(const LogLine& line) {
  if (std::chrono::abs(line.time - recent_begin_) > kRepetition) {
    recent_.swap(earlier_);
    recent_.clear();
    recent_begin_ = line.time;
  }
  const std::size_t hash = std::hash<std::string_view>()(line.message) ^
                           std::hash<std::int64_t>()(line.time.time_since_epoch().count());
  return earlier_.contains(hash) || !recent_.insert(hash).second;
}

std::optional<LogLine> LogLineReader::Read(std::string_view line) {
  const auto found = ReadWhole(line);
  return found && IsRepeated(*found) ? std::nullopt : found;
}

}  // namespace orvane::wavelarkctl
