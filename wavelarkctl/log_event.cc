#include "wavelarkctl/log_event.h"

#include <array>
#include <chrono>

#include "wavelarkctl/parse_number.h"
#include "wavelarkctl/seconds.h"

namespace orvane::wavelarkctl {
namespace {

using ap::MacAddress;
using platform::TimeSpan;

constexpr std::size_t kAddressLength = 17;  // "00:1a:2b:3c:4d:5e"

// Cuts the parts off the front of a message. After a part that is not there, nothing is.
class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}

  Words& Skip(std::string_view expected) {
    is_good_ = is_good_ && rest_.starts_with(expected);
    if (is_good_) rest_.remove_prefix(expected.size());
    return *this;
  }

  Words& Take(MacAddress* address) {
    // The last one of a line may lack its end: an address has its full length.
    const std::string_view word = TakeWord();
    is_good_ =
        is_good_ && word.size() == kAddressLength && MacAddress::ParseFromString(word, address);
    return *this;
  }

  Words& Take(std::uint8_t* number) {
    const std::string_view word = TakeWord();
    const auto value = ParseNumber<std::uint8_t>(word);
    is_good_ = is_good_ && value.has_value();
    if (is_good_) *number = *value;
    return *this;
  }

  Words& Take(TimeSpan* span) {
    const auto value = ParseTimeSpan(TakeWord());
    is_good_ = is_good_ && value.has_value();
    if (is_good_) *span = *value;
    return *this;
  }

  Words& Take(std::string_view* word) {
    *word = TakeWord();
    is_good_ = is_good_ && !word->empty();
    return *this;
  }

  // Whether all was there, and nothing is left.
  bool IsWhole() const { return is_good_ && rest_.empty(); }
  bool IsGood() const { return is_good_; }

 private:
  std::string_view TakeWord() {
    const std::string_view word = rest_.substr(0, rest_.find(' '));
    rest_.remove_prefix(word.size());
    return word;
  }

  std::string_view rest_;
  bool is_good_ = true;
};

template <typename Event>
std::optional<LogEvent> If(bool is_good, const Event& event) {
  return is_good ? std::optional<LogEvent>(event) : std::nullopt;
}

std::optional<LogEvent> ParseJudged(std::string_view message) {
  ClientJudged event;
  const bool is_good = Words(message)
                           .Take(&event.address)
                           .Skip(" link_quality_metric ")
                           .Take(&event.metric)
                           .Skip(" last_steer_link_quality_metric ")
                           .Take(&event.last_metric)
                           .Skip(" time since last steer ")
                           .Take(&event.since_last_steer)
                           .IsWhole();
  return If(is_good, event);
}

std::optional<LogEvent> ParseSteered(std::string_view message) {
  ClientSteered event;
  const bool is_good = Words(message)
                           .Skip("Steer Client ")
                           .Take(&event.address)
                           .Skip(" link_quality_metric ")
                           .Take(&event.metric)
                           .Skip(" last_steer_link_quality_metric ")
                           .Take(&event.last_metric)
                           .IsWhole();
  return If(is_good, event);
}

std::optional<LogEvent> ParseStarted(std::string_view message) {
  SteeringStarted event;
  const bool is_good = Words(message)
                           .Skip("Client Steer Started  lqm_floor=")
                           .Take(&event.limits.lqm_floor)
                           .Skip(" steer_interval=")
                           .Take(&event.limits.steer_interval)
                           .Skip(" poll_interval=")
                           .Take(&event.poll_interval)
                           .Skip(" lqm_hysteresis=")
                           .Take(&event.limits.lqm_hysteresis)
                           .IsWhole();
  return If(is_good, event);
}

std::optional<LogEvent> ParseDisassociate(std::string_view message) {
  DisassociateSent event;
  const bool is_good = Words(message)
                           .Take(&event.interface)
                           .Skip(" Send Command : DISASSOCIATE ")
                           .Take(&event.address)
                           .Skip(" reason=5")
                           .IsWhole();
  return If(is_good, event);
}

std::optional<LogEvent> ParseClientEvent(std::string_view message) {
  std::string_view interface;
  std::string_view name;
  MacAddress address;
  const bool is_good = Words(message)
                           .Skip("EventCallback: ")
                           .Take(&interface)
                           .Skip(" event: ")
                           .Take(&name)
                           .Skip(" mac: ")
                           .Take(&address)
                           .IsWhole();
  if (!is_good) return std::nullopt;
  if (name == "kStationConnected" || name == "kStationConnect") {
    return ClientCame{address, interface};
  }
  if (name == "kStationDisconnected" || name == "kStationDisconnect") {
    return ClientLeft{address, interface};
  }
  return std::nullopt;
}

std::optional<LogEvent> ParsePruned(std::string_view message) {
  ClientPruned event;
  return If(Words(message).Skip("Prune Station ").Take(&event.address).IsWhole(), event);
}

// The texts that need no more than their beginning.
template <typename Event>
std::optional<LogEvent> Always(std::string_view /*message*/) {
  return Event();
}

struct Row {
  std::string_view beginning;
  std::optional<LogEvent> (*parse)(std::string_view message);
};

constexpr std::array<Row, 9> kRows = {{
    {"Steer Client ", ParseSteered},
    {"EventCallback: ", ParseClientEvent},
    {"Prune Station ", ParsePruned},
    {"Starting the daemon", Always<DaemonStarted>},
    {"Client Steer Started ", ParseStarted},
    {"Client Steer Stopped", Always<SteeringStopped>},
    {"Send to hostapd failed", Always<CommandLost>},
    {"Unable to get stations on interface: ", Always<PollFailed>},
    {"Netlink error ", Always<PollFailed>},
}};

// One part of a time span: a number and its unit. Zero if it is not there.
std::optional<std::int64_t> TakePart(std::string_view* text, char unit) {
  const std::size_t end = text->find(unit);
  if (end == std::string_view::npos) return 0;
  const auto count = ParseNumber<std::int64_t>(text->substr(0, end));
  if (!count || *count < 0) return std::nullopt;
  text->remove_prefix(end + 1);
  return count;
}

// 114 years. The clock of a machine without a battery may begin in 1970.
constexpr std::int64_t kMostHours = 1'000'000;
constexpr std::int64_t kMostMinutes = 59;

}  // namespace

std::optional<TimeSpan> ParseTimeSpan(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  const auto hours = TakePart(&text, 'h');
  const auto minutes = TakePart(&text, 'm');
  if (!hours || !minutes || *hours > kMostHours || *minutes > kMostMinutes) return std::nullopt;
  TimeSpan seconds{};
  if (!text.empty()) {
    if (text.back() != 's' || text.front() == '-') return std::nullopt;
    const auto parsed = ParseSeconds(text.substr(0, text.size() - 1));
    if (!parsed || *parsed >= std::chrono::minutes(1)) return std::nullopt;
    seconds = *parsed;
  }
  const TimeSpan span = std::chrono::hours(*hours) + std::chrono::minutes(*minutes) + seconds;
  return is_negative ? -span : span;
}

std::optional<LogEvent> ParseMessage(std::string_view message) {
  for (const Row& row : kRows) {
    if (message.starts_with(row.beginning)) return row.parse(message);
  }
  if (auto judged = ParseJudged(message)) return judged;
  return ParseDisassociate(message);
}

}  // namespace orvane::wavelarkctl
