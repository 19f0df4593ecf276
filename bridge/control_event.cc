#include "bridge/control_event.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "bridge/control_text.h"
#include "common/event_names.h"
#include "platform/hex.h"
#include "platform/parse_number.h"

namespace orvane::bridge {
namespace {

constexpr std::size_t kPriorityLength = 3;  // "<3>"

// Returns the value of "name=value" in fields separated by single spaces, or nothing if there is
// none.
std::optional<std::string_view> FindField(std::string_view fields, std::string_view name) {
  while (!fields.empty()) {
    std::string_view field = TakeUntil(&fields, ' ');
    if (TakeUntil(&field, '=') == name) return field;
  }
  return std::nullopt;
}

std::optional<ap::MacAddress> ParseAddress(std::string_view text) {
  ap::MacAddress address;
  if (!ap::MacAddress::ParseFromString(text, &address)) return std::nullopt;
  return address;
}

// Returns the address in the first field.
std::optional<ap::MacAddress> StationOf(std::string_view fields) {
  return ParseAddress(TakeUntil(&fields, ' '));
}

template <typename Event>
ControlEvent ReadStation(std::string_view fields) {
  const auto station = StationOf(fields);
  if (!station.has_value()) return MalformedEvent{};
  return Event{*station};
}

ControlEvent ReadFrame(std::string_view fields) {
  const auto hex = FindField(fields, "buf");
  if (!hex.has_value()) return MalformedEvent{};
  const std::optional<std::string> bytes = platform::HexDecode(*hex);
  if (!bytes.has_value()) return MalformedEvent{};
  const std::span<const std::uint8_t> frame_bytes(
      reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size());
  if (const auto frame = ParseManagementFrame(frame_bytes)) return FrameReceived{*frame};
  if (bytes->empty() || FrameKindOf(frame_bytes).has_value()) return MalformedEvent{};
  return OtherEvent{};
}

ControlEvent ReadProbe(std::string_view fields) {
  const auto station = ParseAddress(FindField(fields, "sa").value_or(std::string_view()));
  if (!station.has_value()) return MalformedEvent{};
  return ProbeReceived{*station,
                       ParseSignal(FindField(fields, "signal").value_or(std::string_view()))};
}

ControlEvent ReadTransitionAnswer(std::string_view fields) {
  const auto station = StationOf(fields);
  const auto status =
      platform::ParseNumber<int>(FindField(fields, "status_code").value_or(std::string_view()));
  if (!station.has_value() || !status.has_value()) return MalformedEvent{};
  return TransitionAnswered{*station, *status == 0};
}

struct EventRow {
  std::string_view name;
  ControlEvent (*read)(std::string_view fields);
};

constexpr EventRow kEvents[] = {
    {"AP-MGMT-FRAME-RECEIVED", ReadFrame},
    {"RX-PROBE-REQUEST", ReadProbe},
    {ap::kEventConnected, ReadStation<StationConnected>},
    {ap::kEventDisconnected, ReadStation<StationDisconnected>},
    {"AP-STA-POSSIBLE-PSK-MISMATCH", ReadStation<PskMismatch>},
    {"BSS-TM-RESP", ReadTransitionAnswer},
};

std::string_view WithoutLineFeed(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  return text;
}

}  // namespace

bool IsControlEvent(std::string_view datagram) {
  return datagram.size() >= kPriorityLength && datagram[0] == '<' && datagram[2] == '>';
}

ControlEvent ParseControlEvent(std::string_view datagram) {
  if (!IsControlEvent(datagram)) return OtherEvent{};
  std::string_view fields = WithoutLineFeed(datagram.substr(kPriorityLength));
  const std::string_view name = TakeUntil(&fields, ' ');
  for (const EventRow& row : kEvents) {
    if (row.name == name) return row.read(fields);
  }
  return OtherEvent{};
}

}  // namespace orvane::bridge
