#include "testbed/event_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "platform/parse_number.h"
#include "platform/text.h"
#include "testbed/text.h"

namespace orvane::testbed {
namespace {

using platform::TimeSpan;

constexpr double kLongestSeconds = 1e9;

TimeSpan Seconds(double seconds) {
  return std::chrono::round<TimeSpan>(std::chrono::duration<double>(seconds));
}

bool ParseSeconds(std::string_view word, TimeSpan* at) {
  const std::optional<double> seconds = platform::ParseNumber<double>(word);
  if (!seconds || !(*seconds >= 0 && *seconds <= kLongestSeconds)) return false;
  *at = Seconds(*seconds);
  return true;
}

// Returns the problem, or nothing if the line was added.
Failure TakeScriptLine(std::string_view text, const std::vector<std::string>& interfaces,
                       Script* script) {
  TimedLine line;
  const std::string_view seconds = TakeWord(&text);
  if (!ParseSeconds(seconds, &line.at)) return fmt::format("\"{}\" is no time", seconds);
  const std::string interface(TakeWord(&text));
  if (std::find(interfaces.begin(), interfaces.end(), interface) == interfaces.end()) {
    return fmt::format("\"{}\" is not an interface that is served", interface);
  }
  if (text.empty()) return "no event line";
  line.line = text;
  (*script)[interface].push_back(std::move(line));
  return std::nullopt;
}

std::string FloodLine(std::size_t index) {
  const std::size_t station = index & 0xffffff;
  return fmt::format(
      "<3>AP-STA-CONNECT 02:00:00:{:02x}:{:02x}:{:02x} aid:{} vlan:0 timestamp:{} success:1 "
      "frame_status:0 frame_rssi:-{} avg_rssi:-{} last_rx_rssi:-{} tx_rate_kbps:866700 "
      "tx_rate_bw:80 tx_rate_sgi:1 tx_rate_vht_mcs:9 tx_rate_vht_nss:2",
      station >> 16, station >> 8 & 0xff, station & 0xff, index % 2007 + 1,
      1'700'000'000'000 + index, 40 + index % 50, 41 + index % 50, 42 + index % 50);
}

}  // namespace

EventPlan PlanOf(std::vector<TimedLine> lines) {
  const std::size_t count = lines.size();
  auto shared = std::make_shared<const std::vector<TimedLine>>(std::move(lines));
  return {.count = count, .line = [shared](std::size_t index) { return (*shared)[index]; }};
}

EventPlan FloodPlan(std::size_t count) {
  return {.count = count,
          .line = [](std::size_t index) { return TimedLine{.line = FloodLine(index)}; },
          .waits_for_listener = true};
}

EventPlan AtSpeed(EventPlan plan, double factor) {
  auto line = [original = plan.line, factor](std::size_t index) {
    TimedLine timed = original(index);
    timed.at = std::chrono::round<TimeSpan>(timed.at / factor);
    return timed;
  };
  plan.line = std::move(line);
  return plan;
}

EventPlan AtRate(EventPlan plan, double per_second) {
  auto line = [original = plan.line, per_second](std::size_t index) {
    TimedLine timed = original(index);
    timed.at = Seconds(static_cast<double>(index) / per_second);
    return timed;
  };
  plan.line = std::move(line);
  return plan;
}

EventPlan Repeated(EventPlan plan, std::size_t times) {
  if (plan.count == 0) return plan;
  const TimeSpan length = plan.line(plan.count - 1).at;
  auto line = [original = plan.line, count = plan.count, length](std::size_t index) {
    TimedLine timed = original(index % count);
    timed.at += length * static_cast<std::int64_t>(index / count);
    return timed;
  };
  plan.line = std::move(line);
  plan.count *= times;
  return plan;
}

Failure ParseScript(std::string_view text, const std::vector<std::string>& interfaces,
                    Script* script) {
  int number = 0;
  for (std::string_view line : SplitLines(text)) {
    ++number;
    if (line.ends_with('\r')) line.remove_suffix(1);
    const std::string_view trimmed = platform::TrimWhitespace(line);
    if (trimmed.empty() || trimmed.front() == '#') continue;
    // Trailing spaces belong to the event line.
    line.remove_prefix(static_cast<std::size_t>(trimmed.data() - line.data()));
    if (const Failure failure = TakeScriptLine(line, interfaces, script)) {
      return fmt::format("line {}: {}", number, *failure);
    }
  }
  for (auto& [interface, lines] : *script) {
    std::stable_sort(lines.begin(), lines.end(),
                     [](const TimedLine& a, const TimedLine& b) { return a.at < b.at; });
  }
  return std::nullopt;
}

}  // namespace orvane::testbed
