#ifndef WAVELARKCTL_REPLAY_REPLAYER_H_
#define WAVELARKCTL_REPLAY_REPLAYER_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "optimizer/client_steer.h"
#include "optimizer/hostapd_interface.h"
#include "platform/manual_loop.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/time.h"
#include "simulation/fake_kernel.h"
#include "wavelarkctl/steer_settings.h"
#include "wavelarkctl/trace/roster.h"

namespace orvane::wavelarkctl {

// What a client does when it is steered.
enum class Returns : std::uint8_t {
  kTrace,  // it follows its rows
  kSame,   // it comes back to the interface that it was steered from
  kOther,  // it joins the next interface of the roster; after the last one, the first one
};

// "trace", "same" or "other".
std::string_view ReturnsText(Returns returns);

struct ReplayOptions {
  ap::OptimizerFlags settings = DefaultSteerSettings();
  Returns returns = Returns::kTrace;
  // A poll does not see a client whose last row is older.
  platform::TimeSpan stale = std::chrono::seconds(10);
};

// The time between two polls. The daemon polls no more often than once in
// ap::ClientSteer::kShortestPollInterval.
platform::TimeSpan PollIntervalOf(const ReplayOptions& options);

// A row of a trace, with the numbers of its names in the roster.
struct Sighting {
  std::uint32_t interface;
  std::uint32_t client;
  std::optional<std::int8_t> signal;
  bool is_authorized;
};

// The time from a row of a client to the client's next row. If the next row comes later than
// ReplayOptions::stale plus a poll interval, the client has left, and the stay ends `stale` after
// the first of the two rows. The last stay ends after `stale` or with the trace.
struct Stay {
  std::uint32_t client;
  std::uint32_t interface;  // where the replay puts the client after a steer, see Returns
  std::uint8_t metric;
  bool is_below_floor;
  platform::WallTime begin;
  platform::TimeSpan length;
};

// Follows a replay. `time` is the wall clock of the trace.
class ReplayListener {
 public:
  virtual ~ReplayListener() = default;
  // A poll has judged a client.
  virtual void OnJudgement(platform::WallTime time, std::uint32_t client,
                           const ap::StationJudgement& judgement) = 0;
  virtual void OnStay(const Stay& stay) = 0;
};

// Runs the daemon's own steering service over the rows of a trace, in virtual time, on a simulated
// kernel that lists the clients of the rows. The service starts at the time of the first row. The
// rows with one time are a sample, and come before a poll at that time. A poll sees each client at
// all interfaces of the client's last sample, unless the sample is older than ReplayOptions::stale.
// No poll is later than the last row.
//
// If a row is earlier than the previous row, the clock was set back, and the virtual time does not
// advance. If a row is later, the virtual time advances by the difference, however long it is.
//
// With kSame or kOther a steered client stays where Returns puts it, with the signals of its rows,
// until it has left (see Stay).
class Replayer {
 public:
  // Polls the interfaces of the roster. The roster and the listener must outlive this object.
  Replayer(const ReplayOptions& options, Roster& roster, platform::WallTime start,
           ReplayListener* listener);
  Replayer(const Replayer&) = delete;
  Replayer& operator=(const Replayer&) = delete;
  ~Replayer();

  // To be called for each row of the trace, in order: first MoveTo, then Feed unless the row is
  // left out.
  void MoveTo(platform::WallTime time);
  void Feed(const Sighting& sighting);
  // To be called after the last row.
  void Finish();

  std::uint64_t polls() const { return polls_; }

 private:
  class Kernel;
  class Loop;

  // One interface that lists a client.
  struct Place {
    std::uint32_t interface;
    std::optional<std::int8_t> signal;
    bool is_authorized;
  };
  struct Client {
    std::uint64_t sample = 0;  // the sample of `places`; 0: none
    platform::MonotonicTime seen;
    platform::WallTime seen_wall;
    bool is_listed = false;  // in `listed_`
    std::optional<std::uint32_t> override_interface;
    std::vector<Place> places;
  };

  // The time of the row that is being fed.
  platform::MonotonicTime Now() const;
  // Skips polls that would see no client, and advances the wall clock. Returns the rest of `span`.
  platform::TimeSpan SkipIdlePolls(platform::TimeSpan span);
  // Runs the polls that are due before `time`. Sets `behind_` to the time that the loop then lacks.
  void RunUntil(platform::MonotonicTime time);
  void EndStay(std::uint32_t number, Client& client, platform::TimeSpan length);
  void OnPass();
  void OnJudgement(const ap::StationJudgement& judgement);
  void MoveSteered(Client& client, std::uint32_t interface) const;

  ReplayOptions options_;
  std::uint8_t floor_;
  platform::TimeSpan poll_interval_;
  Roster& roster_;
  ReplayListener* listener_;
  std::unique_ptr<Loop> loop_;
  // How far the loop is behind the row that is being fed.
  platform::TimeSpan behind_{};
  platform::WallTime now_;
  std::uint64_t sample_ = 1;
  std::uint64_t polls_ = 0;
  std::vector<Client> clients_;
  // The clients that a poll may see, in order of arrival.
  std::vector<std::uint32_t> listed_;
  std::unique_ptr<Kernel> kernel_;
  std::unique_ptr<platform::NetlinkManager> netlink_;
  std::unique_ptr<ap::HostapdInterface> hostapd_;
  std::unique_ptr<ap::ClientSteer> steer_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_REPLAYER_H_
