#ifndef BRIDGE_STATION_TRACKER_H_
#define BRIDGE_STATION_TRACKER_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "bridge/control_event.h"
#include "bridge/moment.h"
#include "bridge/nl80211_event.h"
#include "bridge/recent_map.h"
#include "bridge/station_machine.h"
#include "bridge/tracked_stations.h"
#include "common/mac_address.h"
#include "platform/time.h"

namespace orvane::bridge {

// State shared by the trackers of all interfaces.
struct SharedMemory {
  static constexpr std::size_t kCapacity = 4096;

  // When a station was last steered. A join after this lifetime is not an effect of the steer.
  RecentMap<ap::MacAddress> steerings{kCapacity, std::chrono::minutes(1)};
  // The last authentication of each station, and the tracker of its interface. A disconnect uses it
  // to see that the station has moved. The lifetime exceeds the time after which hostapd notices
  // that a station has left an interface.
  RecentMap<ap::MacAddress, const void*> joins{kCapacity, std::chrono::minutes(15)};
};

// The stations of one interface. Passes each event to the StationMachine of its station. Uses no
// clock and no descriptors; see StationMachine for the order of calls.
class StationTracker {
 public:
  // Maximum number of stations with state. hostapd serves at most 2007.
  static constexpr std::size_t kMostStations = 4096;
  // Maximum time from a frame to its retransmission.
  static constexpr platform::TimeSpan kRetransmissionLife = std::chrono::seconds(1);
  // How long a probe request counts as the start of a join.
  static constexpr platform::TimeSpan kProbeLife = std::chrono::minutes(1);
  // If a station leaves within this time after it accepted a transition or was steered, that is the
  // reason.
  static constexpr platform::TimeSpan kEffectWait = std::chrono::seconds(10);

  // Returns the kernel's current information about a station; empty if the kernel does not have it.
  using StationReader = std::function<StationInfo(const ap::MacAddress& station)>;

  // `shared` must outlive the tracker.
  StationTracker(SharedMemory* shared, StationReader read_station);
  StationTracker(const StationTracker&) = delete;
  StationTracker& operator=(const StationTracker&) = delete;

  void OnControlEvent(const ControlEvent& event, Moment now);
  void OnNl80211Event(const Nl80211Event& event, Moment now);

  // The kernel has dropped messages, after those that were passed on.
  void OnNl80211Loss();

  // Sets the signals of the lines that wait for one. `tracked` is hostapd's answer to a
  // TRACK_STA_LIST that was sent after the last received frame; empty if the command failed.
  void OnTrackedStations(std::span<const TrackedStation> tracked);

  // A DISASSOCIATE for the station has been forwarded to hostapd.
  void OnSteered(const ap::MacAddress& station, Moment now);

  // Finishes the lines that are complete or due. Called when nothing is left to read, and when
  // NextDeadline has passed.
  void Settle(Moment now);

  // Called when hostapd is gone. Finishes all lines as they are, and removes the stations.
  void Reset();

  std::optional<platform::MonotonicTime> NextDeadline() const;

  // Returns the lines since the last call, in order.
  std::vector<EventLine> TakeLines() { return std::exchange(lines_, {}); }

  std::size_t station_count() const { return stations_.size(); }
  // The number of ignored events: of group addresses, and of further stations while kMostStations
  // are known.
  std::uint64_t ignored_count() const { return ignored_count_; }

 private:
  struct Entry {
    explicit Entry(const ap::MacAddress& mac) : machine(mac) {}

    StationMachine machine;
    std::optional<platform::MonotonicTime> deadline;  // its key in `deadlines_`
  };

  StationMachine* Find(const ap::MacAddress& mac);
  StationMachine* FindOrAdd(const ap::MacAddress& mac);
  bool IsRepeated(const ManagementFrame& frame, platform::MonotonicTime now);
  Background BackgroundOf(const ap::MacAddress& mac, Moment now) const;
  bool HasMoved(const ap::MacAddress& mac, const StationMachine& machine, Moment now) const;

  void Handle(const OtherEvent& /*event*/, Moment /*now*/) {}
  void Handle(const MalformedEvent& /*event*/, Moment /*now*/) {}
  void Handle(const FrameReceived& received, Moment now);
  void Handle(const ProbeReceived& probe, Moment now);
  void Handle(const StationConnected& connected, Moment now);
  void Handle(const StationDisconnected& disconnected, Moment now);
  void Handle(const PskMismatch& mismatch, Moment now);
  void Handle(const TransitionAnswered& answered, Moment now);
  void Handle(const FrameSent& sent, Moment now);
  void Handle(const EapolSent& sent, Moment now);
  void Handle(const StationRemoved& removed, Moment now);

  void SettleStation(const ap::MacAddress& mac, Moment now);
  void SetDeadline(const ap::MacAddress& mac, Entry* entry,
                   std::optional<platform::MonotonicTime> deadline);

  SharedMemory& shared_;
  StationReader read_station_;
  std::map<ap::MacAddress, Entry> stations_;
  std::set<ap::MacAddress> touched_;  // since the last Settle
  std::set<std::pair<platform::MonotonicTime, ap::MacAddress>> deadlines_;
  // The sequence control of each station's last frame.
  RecentMap<ap::MacAddress, std::uint16_t> last_frames_{kMostStations, kRetransmissionLife};
  RecentMap<ap::MacAddress> probes_{kMostStations, kProbeLife};
  // What may make a station leave this interface. A station that was connected before the bridge
  // started has no machine, but is included.
  RecentMap<ap::MacAddress> steerings_{kMostStations, kEffectWait};
  RecentMap<ap::MacAddress> accepted_transitions_{kMostStations, kEffectWait};
  std::vector<EventLine> lines_;
  std::uint64_t ignored_count_ = 0;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_STATION_TRACKER_H_
