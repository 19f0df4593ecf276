#ifndef WAVELARKCTL_REPLAY_REPLAY_SUMMARY_H_
#define WAVELARKCTL_REPLAY_REPLAY_SUMMARY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "optimizer/steer_policy.h"
#include "platform/time.h"
#include "wavelarkctl/replay/replayer.h"

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

// The totals of one client.
struct ClientSummary {
  platform::TimeSpan present{};
  platform::TimeSpan below_floor{};
  std::uint64_t steers = 0;
  // The longest chain of steers that did not help: no poll between them found the client at the
  // floor or above, and the daemon did not forget the client.
  std::uint64_t longest_chain = 0;

  // Per hour of presence. Nothing if the client was steered in no time, which happens if rows
  // become stale at once.
  std::optional<double> SteersPerHour() const;
};

// Counts the decisions of a replay. Keeps a few numbers for each client, and the first steers.
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
  // Indexed by the client's number in the roster. Clients at the end that were never judged may be
  // missing.
  const std::vector<ClientSummary>& clients() const { return clients_; }
  const std::vector<Steer>& first_steers() const { return first_steers_; }
  // The sums over all clients, and the longest chain of any client.
  ClientSummary Total() const;
  std::size_t SteeredClients() const;
  // The numbers of at most `limit` steered clients, those with the most steers first.
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

#endif  // WAVELARKCTL_REPLAY_REPLAY_SUMMARY_H_
