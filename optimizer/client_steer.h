#ifndef OPTIMIZER_CLIENT_STEER_H_
#define OPTIMIZER_CLIENT_STEER_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/mac_address.h"
#include "optimizer/hostapd_interface.h"
#include "optimizer/nl80211_manager.h"
#include "optimizer/nl80211_station.h"
#include "optimizer/service.h"
#include "optimizer/steer_policy.h"
#include "platform/loop.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/one_shot_timer.h"
#include "platform/time.h"
#include "platform/weak_ptr.h"

namespace orvane::ap {

// The start values of the steering policy.
struct ClientSteerSettings {
  platform::TimeSpan steer_interval;  // at least so long between two steers of a station
  platform::TimeSpan poll_interval;   // from the start of a pass to the start of the next one
  std::uint8_t lqm_hysteresis;        // the metric must move by more between two steers
  bool is_root;                       // chooses the floor
  std::uint8_t root_lqm_floor;
  std::uint8_t child_lqm_floor;
};

// One station as a poll has judged it.
struct StationJudgement {
  const std::string& interface;
  const MacAddress& mac_address;
  const SteerInputs& inputs;  // if it is new, the time since its last steer is 0
  SteerVerdict verdict;
};

// Pushes poorly connected stations off an access-point interface, so that they join again on a
// better one. A pass asks the kernel for the stations of each interface in turn, lets hostapd
// disassociate those that qualify, and forgets those that have not been seen for two steer
// intervals.
//
// The first pass comes one poll interval after the start. Passes are not kept apart: when one takes
// longer than the poll interval, the next one starts over at the first interface, and late replies
// of the earlier one count for the interface that is being polled now. Once the cursor is past the
// last interface they count for none: the station is placed there, and is never steered there.
class ClientSteer : public Service {
 public:
  // The smallest positive number of seconds. Settings below it have the same effect.
  static constexpr platform::TimeSpan kShortestPollInterval = std::chrono::seconds(1);

  // The judgement is valid during the call.
  using Observer = std::function<void(const StationJudgement& judgement)>;

  // The loop, the netlink manager and the hostapd interface must outlive it. There is at least one
  // interface.
  ClientSteer(platform::Loop& loop, platform::NetlinkManager* netlink_manager,
              std::vector<std::string> steer_interfaces, HostapdInterface* hostapd_interface,
              const ClientSteerSettings& settings);

  // The policy's parameters, as decimal numbers; intervals in seconds. Of floors and hysteresis the
  // low 8 bits are kept. Throws what std::stoi throws for a value that is no number.
  void OnFlagChanged(std::string key, std::string value) override;
  void OnStart() override;
  void OnStop() override;

  // Sets what isn't 0. The floor is the one in force, whichever of the two that is.
  void Configure(std::int32_t steer_interval_seconds, std::int32_t poll_interval_seconds,
                 std::int32_t lqm_floor, std::int32_t lqm_hysteresis);

  // Calls `observer` for each authorized station in each poll, before a command is sent for it. It
  // must not change the service. Replaces an earlier observer; a null one ends it.
  void SetObserver(Observer observer) { observer_ = std::move(observer); }

  // Begins a pass. The next one comes one poll interval later, and so on until the service is
  // switched off. Usually the timer's to call.
  void CheckAndSteer();

 private:
  struct StationSteerState {
    std::int32_t interface_index = -1;  // where it was last seen; -1: nowhere yet
    platform::WallTime last_steer_time;
    platform::WallTime last_seen_time;
    // By interface; 0 until it is steered from there.
    std::vector<std::uint8_t> last_steer_link_quality_metric;
  };

  // One run-time flag and what it sets.
  struct FlagRow;
  static const FlagRow kFlags[];

  void SetSteerInterval(std::int32_t seconds);
  void SetPollInterval(std::int32_t seconds);
  void SetRootLqmFloor(std::int32_t floor);
  void SetChildLqmFloor(std::int32_t floor);
  void SetLqmHysteresis(std::int32_t hysteresis);

  void StartPollTimer();
  void PollInterface();
  void OnStation(const Nl80211Station& station);
  void OnPollComplete(const Nl80211Error* error);

  void CheckStation(const MacAddress& mac_address, std::int8_t signal_dbm);
  // The station has come to the interface at the cursor.
  void PlaceStation(StationSteerState& state, platform::WallTime now);
  SteerInputs CollectInputs(const StationSteerState& state, std::int8_t signal_dbm,
                            platform::WallTime now) const;
  void Steer(const MacAddress& mac_address, const SteerInputs& inputs, StationSteerState& state,
             platform::WallTime now);
  void Disassociate(const MacAddress& mac_address, const StationSteerState& state);
  void PruneStations();

  platform::Loop& loop_;
  platform::NetlinkManager* netlink_manager_;
  Nl80211Manager nl80211_manager_;
  std::vector<std::string> steer_interfaces_;
  HostapdInterface* hostapd_interface_;
  std::uint32_t poll_cursor_ = 0;  // the interface that is being polled
  platform::TimeSpan steer_interval_;
  platform::TimeSpan poll_interval_;
  bool is_root_;
  std::uint8_t root_lqm_floor_;
  std::uint8_t child_lqm_floor_;
  std::uint8_t lqm_floor_;  // the one in force
  std::uint8_t lqm_hysteresis_;
  std::map<MacAddress, StationSteerState> stations_;
  Observer observer_;
  platform::OneShotTimer poll_timer_;
  platform::WeakPtrFactory<ClientSteer> weak_ptr_factory_{this};
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_CLIENT_STEER_H_
