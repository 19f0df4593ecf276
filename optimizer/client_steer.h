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

// The initial settings of the steering policy.
struct ClientSteerSettings {
  // A station is steered only if more than this has passed since its last steer or arrival.
  platform::TimeSpan steer_interval;
  // From the start of a pass to the start of the next one.
  platform::TimeSpan poll_interval;
  // A station is steered only if its metric differs by more than this from the last steer metric.
  std::uint8_t lqm_hysteresis;
  bool is_root;  // true: root_lqm_floor applies; false: child_lqm_floor
  std::uint8_t root_lqm_floor;
  std::uint8_t child_lqm_floor;
};

// The decision on one station in one pass.
struct StationJudgement {
  const std::string& interface;
  const MacAddress& mac_address;
  const SteerInputs& inputs;  // for a new station, the time since the last steer is 0
  SteerVerdict verdict;
};

// Disassociates poorly connected stations from an access-point interface, so that they join a
// better one. A pass requests a dump of the stations of each interface in turn, and sends hostapd a
// command to disassociate those that qualify. At its end it forgets the stations that have not been
// seen for two steer intervals. If an interface does not exist, the pass ends there and forgets
// nothing.
//
// The first pass starts one poll interval after the service starts. Passes overlap if a pass takes
// longer than the poll interval. They share one cursor, the index of the interface that is dumped.
// A new pass sets the cursor to 0, and the end of each dump advances it. A reply counts for the
// interface at the cursor, even if an earlier pass requested it. If the cursor is past the last
// interface, the station counts as moved to that index: it is not steered, and its steer interval
// restarts.
class ClientSteer : public Service {
 public:
  // The smallest poll interval. Shorter settings have the same effect.
  static constexpr platform::TimeSpan kShortestPollInterval = std::chrono::seconds(1);

  // Receives one judgement, which is valid during the call.
  using Observer = std::function<void(const StationJudgement& judgement)>;

  // The loop, the netlink manager and the hostapd interface must outlive this object.
  // `steer_interfaces` must not be empty.
  ClientSteer(platform::Loop& loop, platform::NetlinkManager* netlink_manager,
              std::vector<std::string> steer_interfaces, HostapdInterface* hostapd_interface,
              const ClientSteerSettings& settings);

  // Sets a parameter of the policy from a decimal number; intervals are in seconds. Floors and
  // hysteresis are truncated to 8 bits. A non-numeric value throws the exception of std::stoi.
  void OnFlagChanged(std::string key, std::string value) override;
  void OnStart() override;
  void OnStop() override;

  // Sets each setting whose argument is not 0. `lqm_floor` replaces the floor in use.
  void Configure(std::int32_t steer_interval_seconds, std::int32_t poll_interval_seconds,
                 std::int32_t lqm_floor, std::int32_t lqm_hysteresis);

  // Calls `observer` for each authorized station in each pass, before a command for the station is
  // sent, but not while the cursor is past the last interface. The observer must not call this
  // object. Replaces the previous observer; null removes it.
  void SetObserver(Observer observer) { observer_ = std::move(observer); }

  // Starts a pass, and arms the timer, which calls this again after the poll interval. Switching
  // the service off stops the timer.
  void CheckAndSteer();

 private:
  struct StationSteerState {
    // Index in steer_interfaces_ where the station was last seen. -1: nowhere; the size: in a reply
    // past the last interface.
    std::int32_t interface_index = -1;
    platform::WallTime last_steer_time;
    platform::WallTime last_seen_time;
    // Per interface; 0 until the station is steered from it.
    std::vector<std::uint8_t> last_steer_link_quality_metric;
  };

  // A run-time flag and its setter.
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
  // Records that the station is now at the interface at the cursor.
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
  std::uint32_t poll_cursor_ = 0;  // index of the interface that is being polled
  platform::TimeSpan steer_interval_;
  platform::TimeSpan poll_interval_;
  bool is_root_;
  std::uint8_t root_lqm_floor_;
  std::uint8_t child_lqm_floor_;
  std::uint8_t lqm_floor_;  // the floor in use: root or child
  std::uint8_t lqm_hysteresis_;
  std::map<MacAddress, StationSteerState> stations_;
  Observer observer_;
  platform::OneShotTimer poll_timer_;
  platform::WeakPtrFactory<ClientSteer> weak_ptr_factory_{this};
};

}  // namespace orvane::ap

#endif  // OPTIMIZER_CLIENT_STEER_H_
