#include "wavelarkctl/replay/replay_summary.h"

#include <algorithm>
#include <chrono>
#include <numeric>

namespace orvane::wavelarkctl {

using ap::SteerInputs;
using ap::SteerVerdict;
using platform::WallTime;

std::optional<double> ClientSummary::SteersPerHour() const {
  if (steers == 0) return 0;
  if (present == platform::TimeSpan::zero()) return std::nullopt;
  const auto hours = std::chrono::duration<double, std::chrono::hours::period>(present);
  return static_cast<double>(steers) / hours.count();
}

void ReplaySummary::OnJudgement(WallTime time, std::uint32_t client,
                                const ap::StationJudgement& judgement) {
  Reach(client);
  ++verdicts_[static_cast<std::size_t>(judgement.verdict)];
  FollowChain(time, client, judgement);
  if (judgement.verdict != SteerVerdict::kSteered) return;
  ++clients_[client].steers;
  const SteerInputs& inputs = judgement.inputs;
  if (first_steers_.size() < kKeptSteers) {
    first_steers_.push_back({time, client, judgement.interface, inputs.link_quality_metric,
                             inputs.last_steer_link_quality_metric, inputs.since_last_steer});
  }
}

void ReplaySummary::FollowChain(WallTime time, std::uint32_t client,
                                const ap::StationJudgement& judgement) {
  const SteerInputs& inputs = judgement.inputs;
  Chain& chain = chains_[client];
  const bool is_forgotten = time - chain.last_judged > 2 * inputs.steer_interval;
  chain.last_judged = time;
  if (is_forgotten || inputs.link_quality_metric >= inputs.lqm_floor) chain.length = 0;
  if (judgement.verdict == SteerVerdict::kSteered) ++chain.length;
  clients_[client].longest_chain = std::max(clients_[client].longest_chain, chain.length);
}

void ReplaySummary::OnStay(const Stay& stay) {
  Reach(stay.client);
  clients_[stay.client].present += stay.length;
  if (stay.is_below_floor) clients_[stay.client].below_floor += stay.length;
}

void ReplaySummary::Reach(std::uint32_t client) {
  if (client < clients_.size()) return;
  clients_.resize(client + 1);
  chains_.resize(client + 1);
}

std::uint64_t ReplaySummary::judgements() const {
  return std::accumulate(verdicts_.begin(), verdicts_.end(), std::uint64_t{0});
}

ClientSummary ReplaySummary::Total() const {
  ClientSummary total;
  for (const ClientSummary& client : clients_) {
    total.present += client.present;
    total.below_floor += client.below_floor;
    total.steers += client.steers;
    total.longest_chain = std::max(total.longest_chain, client.longest_chain);
  }
  return total;
}

std::size_t ReplaySummary::SteeredClients() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      clients_, [](const ClientSummary& client) { return client.steers > 0; }));
}

std::vector<std::uint32_t> ReplaySummary::MostSteered(std::size_t limit) const {
  std::vector<std::uint32_t> numbers;
  for (std::uint32_t number = 0; number < clients_.size(); ++number) {
    if (clients_[number].steers > 0) numbers.push_back(number);
  }
  std::ranges::stable_sort(numbers, std::greater(),
                           [&](std::uint32_t number) { return clients_[number].steers; });
  numbers.resize(std::min(limit, numbers.size()));
  return numbers;
}

}  // namespace orvane::wavelarkctl
