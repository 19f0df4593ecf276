// A datagram of hostapd's control socket: an event or an answer.

#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

#include "bridge/control_event.h"
#include "bridge/management_frame.h"
#include "bridge/tracked_stations.h"
#include "fuzz/fuzz_target.h"
#include "platform/logging.h"

namespace orvane {
namespace {

bool IsSignal(int signal) { return signal >= -128 && signal <= 127 && signal != 0; }

struct Checker {
  void operator()(const bridge::OtherEvent& /*event*/) const {}
  void operator()(const bridge::MalformedEvent& /*event*/) const {}
  void operator()(const bridge::FrameReceived& received) const {
    CHECK(received.frame.source.ToString().size() == 17);
    CHECK(received.frame.destination.ToString().size() == 17);
  }
  void operator()(const bridge::ProbeReceived& probe) const {
    CHECK(probe.station.ToString().size() == 17);
    CHECK(!probe.signal.has_value() || IsSignal(*probe.signal));
  }
  template <typename Event>
  void operator()(const Event& event) const {
    CHECK(event.station.ToString().size() == 17);
  }
};

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  const std::string_view text = fuzz::AsText(bytes);
  std::visit(Checker(), bridge::ParseControlEvent(text));
  for (const bridge::TrackedStation& tracked : bridge::ParseTrackedStations(text)) {
    CHECK(tracked.station.ToString().size() == 17 && IsSignal(tracked.signal));
  }
  // The same bytes as an 802.11 frame.
  const auto frame = bridge::ParseManagementFrame(bytes);
  if (frame.has_value()) CHECK(bridge::FrameKindOf(bytes) == frame->kind);
}

}  // namespace orvane
