#include "optimizer/client_steer.h"

#include <algorithm>
#include <utility>

#include "common/run_time_flags.h"
#include "platform/logging.h"

namespace orvane::ap {
namespace {

// IEEE 802.11 reason code 5: the access point cannot handle all associated stations.
constexpr std::string_view kDisassociateReason = " reason=5";

platform::TimeSpan Twice(platform::TimeSpan span) {
  const platform::TimeSpan half_max = platform::TimeSpan::max() / 2;
  const platform::TimeSpan half_min = platform::TimeSpan::min() / 2;
  return 2 * std::clamp(span, half_min, half_max);
}

void LogInputs(const MacAddress& mac_address, const SteerInputs& inputs) {
  VLOG(1) << mac_address.ToString() << " link_quality_metric " << inputs.link_quality_metric
          << " last_steer_link_quality_metric " << inputs.last_steer_link_quality_metric
          << " time since last steer " << platform::FormatTimeSpan(inputs.since_last_steer);
}

std::uint8_t LowByte(std::int32_t value) { return static_cast<std::uint8_t>(value); }

}  // namespace

struct ClientSteer::FlagRow {
  std::string_view key;
  void (ClientSteer::*set)(std::int32_t value);
};

const ClientSteer::FlagRow ClientSteer::kFlags[] = {
    {kClientSteeringIntervalFlag, &ClientSteer::SetSteerInterval},
    {kClientSteeringPollIntervalFlag, &ClientSteer::SetPollInterval},
    {kClientSteeringRootLqmFloorFlag, &ClientSteer::SetRootLqmFloor},
    {kClientSteeringChildLqmFloorFlag, &ClientSteer::SetChildLqmFloor},
    {kClientSteeringLqmHysteresisFlag, &ClientSteer::SetLqmHysteresis},
};

ClientSteer::ClientSteer(platform::Loop& loop, platform::NetlinkManager* netlink_manager,
                         std::vector<std::string> steer_interfaces,
                         HostapdInterface* hostapd_interface, const ClientSteerSettings& settings)
    : Service(kClientSteeringFlag),
      loop_(loop),
      netlink_manager_(netlink_manager),
      steer_interfaces_(std::move(steer_interfaces)),
      hostapd_interface_(hostapd_interface),
      steer_interval_(settings.steer_interval),
      poll_interval_(settings.poll_interval),
      is_root_(settings.is_root),
      root_lqm_floor_(settings.root_lqm_floor),
      child_lqm_floor_(settings.child_lqm_floor),
      lqm_floor_(is_root_ ? root_lqm_floor_ : child_lqm_floor_),
      lqm_hysteresis_(settings.lqm_hysteresis),
      poll_timer_(loop) {
  CHECK(!steer_interfaces_.empty());
}

void ClientSteer::OnFlagChanged(std::string key, std::string value) {
  for (const FlagRow& row : kFlags) {
    if (row.key == key) (this->*row.set)(std::stoi(value));
  }
}

void ClientSteer::SetSteerInterval(std::int32_t seconds) {
  steer_interval_ = platform::SecondsToTimeSpan(seconds);
}

void ClientSteer::SetPollInterval(std::int32_t seconds) {
  poll_interval_ = platform::SecondsToTimeSpan(seconds);
}

void ClientSteer::SetRootLqmFloor(std::int32_t floor) {
  root_lqm_floor_ = LowByte(floor);
  if (is_root_) lqm_floor_ = root_lqm_floor_;
}

void ClientSteer::SetChildLqmFloor(std::int32_t floor) {
  child_lqm_floor_ = LowByte(floor);
  if (!is_root_) lqm_floor_ = child_lqm_floor_;
}

void ClientSteer::SetLqmHysteresis(std::int32_t hysteresis) {
  lqm_hysteresis_ = LowByte(hysteresis);
}

void ClientSteer::OnStart() {
  StartPollTimer();
  LOG(INFO) << " Client Steer Started "
            << " lqm_floor=" << lqm_floor_
            << " steer_interval=" << platform::FormatTimeSpan(steer_interval_)
            << " poll_interval=" << platform::FormatTimeSpan(poll_interval_)
            << " lqm_hysteresis=" << lqm_hysteresis_;
}

// A running pass continues and adds the stations that it sees to the cleared map. These stations
// are new, so the pass does not steer them.
void ClientSteer::OnStop() {
  poll_timer_.Stop();
  stations_.clear();
  LOG(INFO) << " Client Steer Stopped ";
}

void ClientSteer::Configure(std::int32_t steer_interval_seconds, std::int32_t poll_interval_seconds,
                            std::int32_t lqm_floor, std::int32_t lqm_hysteresis) {
  if (steer_interval_seconds != 0) SetSteerInterval(steer_interval_seconds);
  if (poll_interval_seconds != 0) SetPollInterval(poll_interval_seconds);
  if (lqm_floor != 0) lqm_floor_ = LowByte(lqm_floor);
  if (lqm_hysteresis != 0) SetLqmHysteresis(lqm_hysteresis);
  LOG(INFO) << " lqm_floor=" << lqm_floor << " steer_interval=" << steer_interval_seconds
            << " poll_interval=" << poll_interval_seconds << " lqm_hysteresis=" << lqm_hysteresis;
}

// Without the lower limit, an interval of 0 and a kernel that refuses every dump would fill the
// log.
void ClientSteer::StartPollTimer() {
  poll_timer_.Start(
      std::max(poll_interval_, kShortestPollInterval),
      platform::BindWeak(weak_ptr_factory_.GetWeakPtr(), &ClientSteer::CheckAndSteer));
}

// The timer is re-armed first: passes start every poll interval, however long they take.
void ClientSteer::CheckAndSteer() {
  StartPollTimer();
  poll_cursor_ = 0;
  PollInterface();
}

void ClientSteer::PollInterface() {
  const platform::WeakPtr<ClientSteer> weak = weak_ptr_factory_.GetWeakPtr();
  const std::string& interface_name = steer_interfaces_[poll_cursor_];
  if (!nl80211_manager_.GetStations(interface_name, netlink_manager_,
                                    platform::BindWeak(weak, &ClientSteer::OnStation),
                                    platform::BindWeak(weak, &ClientSteer::OnPollComplete))) {
    LOG(WARNING) << "Unable to get stations on interface: " << interface_name;
  }
}

void ClientSteer::OnStation(const Nl80211Station& station) {
  if (!station.IsAuthorized()) return;
  CheckStation(station.GetMacAddress(), station.GetSignalAverage());
}

// After a failed dump, the pass continues with the next interface. (A missing interface ends the
// pass in PollInterface.)
void ClientSteer::OnPollComplete(const Nl80211Error* error) {
  Nl80211Manager::LogNl80211Error(error);
  ++poll_cursor_;
  if (poll_cursor_ < steer_interfaces_.size()) {
    PollInterface();
  } else {
    PruneStations();
  }
}

// If passes overlap, the cursor may be past the last interface. PlaceStation then stores the cursor
// as the station's interface index and restarts the station's steer interval. There is no last
// steer metric for this index, so the function returns.
void ClientSteer::CheckStation(const MacAddress& mac_address, std::int8_t signal_dbm) {
  StationSteerState& state = stations_[mac_address];
  const platform::WallTime now = loop_.Now();
  state.last_seen_time = now;
  const bool is_new = state.interface_index != static_cast<std::int32_t>(poll_cursor_);
  if (is_new) PlaceStation(state, now);
  if (poll_cursor_ >= steer_interfaces_.size()) return;
  const SteerInputs inputs = CollectInputs(state, signal_dbm, now);
  if (!is_new) LogInputs(mac_address, inputs);
  const SteerVerdict verdict = is_new ? SteerVerdict::kNew : JudgeStation(inputs);
  if (observer_) observer_({steer_interfaces_[poll_cursor_], mac_address, inputs, verdict});
  if (verdict == SteerVerdict::kSteered) Steer(mac_address, inputs, state, now);
}

// Sets the time of the last steer, so a station is not steered within a steer interval of its
// arrival.
void ClientSteer::PlaceStation(StationSteerState& state, platform::WallTime now) {
  if (state.interface_index == -1) {
    state.last_steer_link_quality_metric.resize(steer_interfaces_.size(), 0);
  }
  state.interface_index = static_cast<std::int32_t>(poll_cursor_);
  state.last_steer_time = now;
}

SteerInputs ClientSteer::CollectInputs(const StationSteerState& state, std::int8_t signal_dbm,
                                       platform::WallTime now) const {
  return {.link_quality_metric = LinkQualityMetric(signal_dbm),
          .last_steer_link_quality_metric = state.last_steer_link_quality_metric[poll_cursor_],
          .since_last_steer = now - state.last_steer_time,
          .lqm_floor = lqm_floor_,
          .lqm_hysteresis = lqm_hysteresis_,
          .steer_interval = steer_interval_};
}

void ClientSteer::Steer(const MacAddress& mac_address, const SteerInputs& inputs,
                        StationSteerState& state, platform::WallTime now) {
  state.last_steer_time = now;
  state.last_steer_link_quality_metric[poll_cursor_] = inputs.link_quality_metric;
  LOG(INFO) << " Steer Client " << mac_address.ToString() << " link_quality_metric "
            << inputs.link_quality_metric << " last_steer_link_quality_metric "
            << inputs.last_steer_link_quality_metric;
  Disassociate(mac_address, state);
}

void ClientSteer::Disassociate(const MacAddress& mac_address, const StationSteerState& state) {
  std::string command = "DISASSOCIATE ";
  command += mac_address.ToString();
  command += kDisassociateReason;
  hostapd_interface_->SendCommand(
      steer_interfaces_[static_cast<std::size_t>(state.interface_index)], command);
}

void ClientSteer::PruneStations() {
  const platform::WallTime now = loop_.Now();
  const platform::TimeSpan prune_age = Twice(steer_interval_);
  std::erase_if(stations_, [&](const auto& entry) {
    const auto& [mac_address, state] = entry;
    if (now - state.last_seen_time <= prune_age) return false;
    VLOG(1) << "Prune Station " << mac_address.ToString();
    return true;
  });
}

}  // namespace orvane::ap
