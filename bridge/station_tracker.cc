#include "bridge/station_tracker.h"

#include <algorithm>

namespace orvane::bridge {
namespace {

using platform::MonotonicTime;

// A frame to a group address concerns no particular station.
bool IsGroupAddress(const ap::MacAddress& mac) {
  return (mac.ToByteString().GetConstData()[0] & 1) != 0;
}

bool IsSuccessfulAuthentication(const FrameSent& sent) {
  return sent.frame.kind == FrameKind::kAuthentication && sent.frame.code == 0 &&
         IsLastAnswer(sent.frame) && sent.is_acknowledged;
}

}  // namespace

StationTracker::StationTracker(SharedMemory* shared, StationReader read_station)
    : shared_(*shared), read_station_(std::move(read_station)) {}

StationMachine* StationTracker::Find(const ap::MacAddress& mac) {
  const auto found = stations_.find(mac);
  if (found == stations_.end()) return nullptr;
  touched_.insert(mac);
  return &found->second.machine;
}

// Returns null for a group address, and if there is no room.
StationMachine* StationTracker::FindOrAdd(const ap::MacAddress& mac) {
  if (StationMachine* machine = Find(mac)) return machine;
  if (stations_.size() >= kMostStations || IsGroupAddress(mac)) {
    ++ignored_count_;
    return nullptr;
  }
  touched_.insert(mac);
  return &stations_.emplace(mac, Entry(mac)).first->second.machine;
}

// A station transmits its frame again if it misses the acknowledgement. hostapd reports both
// frames, but answers only one.
bool StationTracker::IsRepeated(const ManagementFrame& frame, MonotonicTime now) {
  const auto* last = last_frames_.Find(frame.source, now);
  if (frame.is_retransmission && last != nullptr && last->value == frame.sequence_control) {
    return true;
  }
  last_frames_.Put(frame.source, now, frame.sequence_control);
  return false;
}

Background StationTracker::BackgroundOf(const ap::MacAddress& mac, Moment now) const {
  Background background;
  if (const auto* probe = probes_.Find(mac, now.monotonic)) {
    background.since_probe = now.monotonic - probe->at;
  }
  if (const auto* steering = shared_.steerings.Find(mac, now.monotonic)) {
    background.since_steering = now.monotonic - steering->at;
  }
  return background;
}

bool StationTracker::HasMoved(const ap::MacAddress& mac, const StationMachine& machine,
                              Moment now) const {
  const auto* join = shared_.joins.Find(mac, now.monotonic);
  return join != nullptr && join->value != this && machine.connected_at().has_value() &&
         join->at >= *machine.connected_at();
}

void StationTracker::OnControlEvent(const ControlEvent& event, Moment now) {
  std::visit([&](const auto& content) { Handle(content, now); }, event);
}

void StationTracker::OnNl80211Event(const Nl80211Event& event, Moment now) {
  std::visit([&](const auto& content) { Handle(content, now); }, event.content);
}

void StationTracker::Handle(const FrameReceived& received, Moment now) {
  const ManagementFrame& frame = received.frame;
  if (IsRepeated(frame, now.monotonic)) return;
  const ap::MacAddress& mac = frame.source;
  StationMachine* machine = FindOrAdd(mac);
  if (machine == nullptr) return;
  switch (frame.kind) {
    case FrameKind::kAuthentication:
      return machine->OnAuthenticationRequest(frame, BackgroundOf(mac, now), now);
    case FrameKind::kAssociationRequest:
      return machine->OnAssociationRequest(BackgroundOf(mac, now), now);
    case FrameKind::kDeauthentication:
    case FrameKind::kDisassociation:
      return machine->OnLeaveFrame(frame.kind, now.monotonic);
    case FrameKind::kAssociationResponse:
      return;
  }
}

void StationTracker::Handle(const ProbeReceived& probe, Moment now) {
  probes_.Put(probe.station, now.monotonic);
  LineAttributes attributes;
  attributes.frame_rssi = probe.signal;
  lines_.push_back(
      {LineKind::kProbe, FormatEventLine(LineKind::kProbe, probe.station, attributes)});
}

void StationTracker::Handle(const StationConnected& connected, Moment now) {
  const ap::MacAddress& mac = connected.station;
  StationMachine* machine = FindOrAdd(mac);
  if (machine == nullptr) return;
  machine->OnConnected(read_station_(mac), BackgroundOf(mac, now), now);
  shared_.steerings.Erase(mac);
}

void StationTracker::Handle(const StationDisconnected& disconnected, Moment now) {
  const ap::MacAddress& mac = disconnected.station;
  StationMachine* machine = FindOrAdd(mac);
  if (machine == nullptr) return;
  machine->OnDisconnected(
      {.info = read_station_(mac),
       .has_moved = HasMoved(mac, *machine, now),
       .is_steered = steerings_.Contains(mac, now.monotonic),
       .has_accepted_transition = accepted_transitions_.Contains(mac, now.monotonic)},
      now);
  steerings_.Erase(mac);
  accepted_transitions_.Erase(mac);
}

void StationTracker::Handle(const PskMismatch& mismatch, Moment now) {
  if (StationMachine* machine = FindOrAdd(mismatch.station)) machine->OnPskMismatch(now.monotonic);
}

void StationTracker::Handle(const TransitionAnswered& answered, Moment now) {
  if (!answered.is_accepted) return;
  accepted_transitions_.Put(answered.station, now.monotonic);
}

void StationTracker::Handle(const FrameSent& sent, Moment now) {
  const ap::MacAddress& mac = sent.frame.destination;
  if (IsGroupAddress(mac)) return;
  if (IsSuccessfulAuthentication(sent)) shared_.joins.Put(mac, now.monotonic, this);
  if (StationMachine* machine = FindOrAdd(mac)) machine->OnFrameSent(sent, now.monotonic);
}

void StationTracker::Handle(const EapolSent& sent, Moment /*now*/) {
  if (StationMachine* machine = Find(sent.station)) machine->OnEapolSent(sent.message);
}

void StationTracker::Handle(const StationRemoved& removed, Moment now) {
  if (StationMachine* machine = Find(removed.station)) {
    machine->OnRemoved(removed.info, now.monotonic);
  }
}

void StationTracker::OnNl80211Loss() {
  for (auto& [mac, entry] : stations_) entry.machine.OnLoss();
}

void StationTracker::OnTrackedStations(std::span<const TrackedStation> tracked) {
  for (auto& [mac, entry] : stations_) {
    if (!entry.machine.AwaitsSignal()) continue;
    const auto found = std::ranges::find(tracked, mac, &TrackedStation::station);
    entry.machine.OnSignal(found != tracked.end() ? std::optional(found->signal) : std::nullopt);
    touched_.insert(mac);
  }
}

void StationTracker::OnSteered(const ap::MacAddress& station, Moment now) {
  shared_.steerings.Put(station, now.monotonic);
  steerings_.Put(station, now.monotonic);
}

void StationTracker::Settle(Moment now) {
  while (!deadlines_.empty() && deadlines_.begin()->first <= now.monotonic) {
    const ap::MacAddress mac = deadlines_.begin()->second;
    touched_.insert(mac);
    SetDeadline(mac, &stations_.at(mac), std::nullopt);
  }
  for (const ap::MacAddress& mac : std::exchange(touched_, {})) SettleStation(mac, now);
}

void StationTracker::SettleStation(const ap::MacAddress& mac, Moment now) {
  const auto found = stations_.find(mac);
  if (found == stations_.end()) return;
  StationMachine& machine = found->second.machine;
  machine.Settle(now, &lines_);
  SetDeadline(mac, &found->second, machine.NextDeadline());
  // An idle machine has no deadline, so it has no entry in `deadlines_`.
  if (machine.IsIdle()) stations_.erase(found);
}

void StationTracker::SetDeadline(const ap::MacAddress& mac, Entry* entry,
                                 std::optional<MonotonicTime> deadline) {
  if (entry->deadline == deadline) return;
  if (entry->deadline.has_value()) deadlines_.erase({*entry->deadline, mac});
  if (deadline.has_value()) deadlines_.emplace(*deadline, mac);
  entry->deadline = deadline;
}

void StationTracker::Reset() {
  for (auto& [mac, entry] : stations_) entry.machine.Finish(&lines_);
  stations_.clear();
  steerings_.Clear();
  accepted_transitions_.Clear();
  touched_.clear();
  deadlines_.clear();
}

std::optional<MonotonicTime> StationTracker::NextDeadline() const {
  if (deadlines_.empty()) return std::nullopt;
  return deadlines_.begin()->first;
}

}  // namespace orvane::bridge
