#include "wavelarkctl/log/log_event.h"

#include <array>

#include "platform/parse_number.h"
#include "wavelarkctl/log/log_time.h"

namespace orvane::wavelarkctl {
namespace {

using ap::MacAddress;
using platform::TimeSpan;

constexpr std::size_t kAddressLength = 17;  // "00:1a:2b:3c:4d:5e"

// Reads the parts of a message in order. After a missing part, all reads fail.
class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}

  Words& Skip(std::string_view expected) {
    is_good_ = is_good_ && rest_.starts_with(expected);
    if (is_good_) rest_.remove_prefix(expected.size());
    return *this;
  }

  Words& Take(MacAddress* address) {
    // A line may be cut off, so an address must have its full length.
    const std::string_view word = TakeWord();
    is_good_ =
        is_good_ && word.size() == kAddressLength && MacAddress::ParseFromString(word, address);
    return *this;
  }

  Words& Take(std::uint8_t* number) {
    const std::string_view word = TakeWord();
    const auto value = platform::ParseNumber<std::uint8_t>(word);
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

  // Whether all parts were read and nothing is left.
  bool IsWhole() const { return is_good_ && rest_.empty(); }

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

// For messages without values.
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

}  // namespace

std::optional<LogEvent> ParseMessage(std::string_view message) {
  for (const Row& row : kRows) {
    if (message.starts_with(row.beginning)) return row.parse(message);
  }
  if (auto judged = ParseJudged(message)) return judged;
  return ParseDisassociate(message);
}

}  // namespace orvane::wavelarkctl
