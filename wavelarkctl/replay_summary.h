#ifndef WAVELARKCTL_REPLAY_SUMMARY_H_
#define WAVELARKCTL_REPLAY_SUMMARY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/steer_policy.h"
#include "platform/time.h"
#include "wavelarkctl/replayer.h"

namespace orvane::wavelarkctl {

// One steer of a replay.
struct Steer {
  platform::WallTime time;
  std::uint32_t client;
  std::string interface;
  std::uint8_t metric;
  std::uint8_t last_metric;
  platform::TimeSpan since_last_steer;
};

// What became of one client.
struct ClientSummary {
  platform::TimeSpan present{};
  platform::TimeSpan below_floor{};
  std::uint64_t steers = 0;
  // The most steers in a row that did not help: no poll between them found the client at the floor
  // or above, and it was never away for so long that the daemon forgot it.
  std::uint64_t longest_chain = 0;

  // Per hour of presence.
  double SteersPerHour() const;
};

// Counts what a replay does. Keeps a few numbers for each client, and the first steers.
class ReplaySummary : public ReplayListener {
 public:
  static constexpr std::size_t kVerdicts = 5;
  static constexpr std::size_t kKeptSteers = 20;

  void OnJudgement(platform::WallTime time, std::uint32_t client,
                   const ap::StationJudgement& judgement) override;
  void OnStay(const Stay& stay) override;

  std::uint64_t CountOf(ap::SteerVerdict verdict) const {
    return verdicts_[static_cast<std::size_t>(verdict)];
  }
  std::uint64_t judgements() const;
  // By the client's number in the roster. Those that were never judged may be missing at the end.
  const std::vector<ClientSummary>& clients() const { return clients_; }
  const std::vector<Steer>& first_steers() const { return first_steers_; }
  // Over all clients; the longest chain is that of one.
  ClientSummary Total() const;
  std::size_t SteeredClients() const;
  // The numbers of the clients that were steered, most steered first, at most so many.
  std::vector<std::uint32_t> MostSteered(std::size_t limit) const;

 private:
  struct Chain {
    std::uint64_t length = 0;
    platform::WallTime last_judged;
  };

  void Reach(std::uint32_t client);
  void FollowChain(platform::WallTime time, std::uint32_t client,
                   const ap::StationJudgement& judgement);

  std::array<std::uint64_t, kVerdicts> verdicts_ = {};
  std::vector<ClientSummary> clients_;
  std::vector<Chain> chains_;
  std::vector<Steer> first_steers_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_SUMMARY_H_
