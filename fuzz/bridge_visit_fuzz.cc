// From reports of hostapd and the kernel about stations, through the bridge's lines, to the
// daemon's parser: it must know each line and convert every number. The input is a sequence of
// reports: a byte for the source, two for the length, the bytes.

#include <linux/nl80211.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "bridge/control_event.h"
#include "bridge/multicast_family.h"
#include "bridge/nl80211_event.h"
#include "bridge/station_tracker.h"
#include "bridge/tracked_stations.h"
#include "event.pb.h"
#include "fuzz/fuzz_target.h"
#include "optimizer/event_attributes.h"
#include "optimizer/hostapd_event.h"
#include "optimizer/station_id_generator.h"
#include "platform/logging.h"
#include "platform/netlink/netlink_message.h"

namespace orvane {
namespace {

using bridge::Moment;
using bridge::StationTracker;
using platform::GenericNetlinkMessage;
using platform::NetlinkMessage;

// The sources of reports. With any other byte, that number of tenths of a second passes.
enum Source : std::uint8_t { kControl, kNetlink, kTracked, kSteered, kReset, kClock, kSources };

void ReadDatagram(std::span<const std::uint8_t> bytes, StationTracker* tracker, Moment now) {
  while (const auto message = NetlinkMessage::TakeFrom(&bytes)) {
    const auto generic = GenericNetlinkMessage::From(*message);
    if (!generic.has_value()) continue;
    static_cast<void>(bridge::ParseMulticastFamily(*generic));
    if (const auto event = bridge::ParseNl80211Event(*generic)) {
      tracker->OnNl80211Event(*event, now);
    }
  }
}

void Steer(std::string_view text, StationTracker* tracker, Moment now) {
  ap::MacAddress mac;
  if (ap::MacAddress::ParseFromString(text, &mac)) tracker->OnSteered(mac, now);
}

// An invalid number throws, which nothing catches.
void CheckLine(const bridge::EventLine& line) {
  static ap::StationIdGenerator ids("/dev/null");
  ap::HostapdEventParser parser;
  int events = 0;
  parser.Parse(line.text, [&](ap::HostapdEventType /*kind*/, std::string_view mac,
                              ap::HostapdAttributes attributes) {
    ++events;
    ap::MacAddress address;
    CHECK(ap::MacAddress::ParseFromString(mac, &address)) << line.text;
    access_infrastructure::proto::ClientEventInfo info;
    ap::ApplyEventAttributes(attributes, &ids, &info);
    access_infrastructure::proto::ClientProbeRequestInfo probe;
    ap::ApplyProbeAttributes(attributes, &probe);
    CHECK(!info.has_event_reason() || info.event_reason() != 0) << line.text;
  });
  CHECK(events == 1) << line.text;
}

class World {
 public:
  void Feed(std::uint8_t source, std::span<const std::uint8_t> bytes) {
    const std::string_view text = fuzz::AsText(bytes);
    switch (source) {
      case kControl:
        return tracker_.OnControlEvent(bridge::ParseControlEvent(text), now_);
      case kNetlink:
        return ReadDatagram(bytes, &tracker_, now_);
      case kTracked:
        return tracker_.OnTrackedStations(bridge::ParseTrackedStations(text));
      case kSteered:
        return Steer(text, &tracker_, now_);
      case kReset:
        return tracker_.Reset();
      case kClock:
        now_.wall -= std::chrono::hours(100'000);
        return;
      default:
        return Pass(std::chrono::milliseconds(100) * source);
    }
  }

  void Pass(platform::TimeSpan span) {
    Settle();
    now_.monotonic += span;
    now_.wall += span;
    Settle();
  }

  // All waiting lines are written, and only connected stations are left.
  void Finish() {
    Pass(std::chrono::minutes(2));
    const auto deadline = tracker_.NextDeadline();
    CHECK(!deadline.has_value() || *deadline > now_.monotonic);
    tracker_.Reset();
    Settle();
    CHECK(tracker_.station_count() == 0);
  }

 private:
  void Settle() {
    tracker_.Settle(now_);
    for (const bridge::EventLine& line : tracker_.TakeLines()) CheckLine(line);
  }

  bridge::SharedMemory shared_;
  StationTracker tracker_{&shared_, [](const ap::MacAddress&) { return bridge::StationInfo(); }};
  Moment now_ = {platform::MonotonicTime(std::chrono::hours(1)),
                 platform::WallTime(std::chrono::seconds(1'700'000'000))};
};

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  fuzz::Input input(bytes);
  World world;
  while (!input.IsEmpty()) {
    const std::uint8_t source = input.TakeByte();
    if (source >= kSources) {
      world.Feed(source, {});
      continue;
    }
    const std::size_t length = input.TakeU16();
    world.Feed(source, input.TakeBytes(length));
  }
  world.Finish();
}

}  // namespace orvane
