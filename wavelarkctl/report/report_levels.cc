#include "wavelarkctl/report/report_levels.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "proto/event.pb.h"
#include "wavelarkctl/events/event_words.h"

namespace orvane::wavelarkctl {
namespace {

using Info = access_infrastructure::proto::ClientEventInfo;
using Client = std::span<const ReportEvent>;

// The longest attempt to connect.
constexpr std::int64_t kLongestAttemptMs = 60'000;
// A client is late if it is not back within this time after a steer.
constexpr std::int64_t kLongestAbsenceMs = 60'000;
constexpr std::int64_t kBounceMs = 300'000;

struct StageWords {
  int type;
  std::string_view words;
};

constexpr auto kStages = std::to_array<StageWords>({{Info::AUTHENTICATE, "authentication"},
                                                    {Info::ASSOCIATE, "association"},
                                                    {Info::CONNECT, "connect"}});

constexpr std::array<std::string_view, 6> kOutcomes = {"better", "same", "other",
                                                       "late",   "gone", "unknown"};

// In the order of the outcomes.
constexpr std::array<std::string_view, 6> kOutcomeWords = {"heard better",
                                                           "same interface, not stronger",
                                                           "other interface, not stronger",
                                                           "away for more than a minute",
                                                           "not back",
                                                           "not known"};

// The first authentication of the attempt that ends with `client[place]`. It is later than the
// previous connect, and at most kLongestAttemptMs old.
const ReportEvent* FindStart(Client client, std::size_t place, const ReportEvent* previous) {
  const ReportEvent* start = nullptr;
  for (std::size_t i = place; i-- > 0;) {
    const ReportEvent& event = client[i];
    if (&event == previous || client[place].t - event.t > kLongestAttemptMs) break;
    if (event.type == Info::AUTHENTICATE) start = &event;
  }
  return start;
}

void FindJoins(Client client, std::vector<Join>* joins) {
  const ReportEvent* previous = nullptr;
  for (std::size_t i = 0; i < client.size(); ++i) {
    if (!IsConnected(client[i])) continue;
    joins->push_back({&client[i], previous, FindStart(client, i, previous)});
    previous = &client[i];
  }
}

SteerResult ResultOf(const ReportEvent& steer, const ReportEvent* next) {
  if (next == nullptr) return SteerResult::kGone;
  if (next->t - steer.t > kLongestAbsenceMs) return SteerResult::kLate;
  if (!steer.has_signal() || !next->has_signal()) return SteerResult::kUnknown;
  if (next->signal > steer.signal) return SteerResult::kBetter;
  return next->interface == steer.interface ? SteerResult::kSame : SteerResult::kOther;
}

void FindSteers(Client client, std::vector<RecordedSteer>* steers) {
  const ReportEvent* next = nullptr;
  const auto begin = static_cast<std::ptrdiff_t>(steers->size());
  for (std::size_t i = client.size(); i-- > 0;) {
    const ReportEvent& event = client[i];
    if (IsConnected(event)) next = &event;
    if (IsDisconnect(event) && IsSteered(event)) {
      steers->push_back({&event, next, ResultOf(event, next)});
    }
  }
  std::reverse(steers->begin() + begin, steers->end());
}

// The cause of a slow connect: a failure, a repetition, or otherwise the longer part.
std::string WordsOfSlowness(const Join& join, const ReportEvents& report) {
  const ReportEvent* failure = nullptr;
  const ReportEvent* association = nullptr;
  int authentications = 0;
  for (const ReportEvent* event = join.start; event != join.connect; ++event) {
    if (event->type == Info::AUTHENTICATE) ++authentications;
    if (event->type == Info::ASSOCIATE) association = event;
    if (IsFailedJoin(*event)) failure = event;
  }
  if (failure != nullptr) return "after a failed " + WordsOfFailure(*failure, report);
  if (authentications > 1) return "authenticated more than once";
  if (association == nullptr) return "association not recorded";
  const bool is_early = association->t - join.start->t <= join.connect->t - association->t;
  return is_early ? "slow key handshake" : "slow association";
}

std::string WordsOfWeakness(const ReportEvent& event, const ReportEvents& report) {
  const std::string where = InterfaceName(report.interfaces.TextOf(event.interface));
  return fmt::format("{} on {}", IsConnected(event) ? "connect" : "disconnect",
                     where.empty() ? "an unknown interface" : where);
}

// Counts an event in the levels that judge single events.
void JudgeEvent(const ReportEvent& event, const ReportEvents& report,
                std::vector<LevelTally>* levels) {
  const auto level = [levels](ServiceLevel which) -> LevelTally& {
    return (*levels)[static_cast<std::size_t>(which)];
  };
  if (IsConnected(event) || IsFailedJoin(event)) {
    level(ServiceLevel::kConnects).Add(event, IsConnected(event), [&] {
      return WordsOfFailure(event, report);
    });
  } else if (event.type == Info::CONNECT && event.is_now) {
    ++level(ServiceLevel::kConnects).unmeasured;
  }
  if ((IsConnected(event) || IsDisconnect(event)) && event.has_signal()) {
    level(ServiceLevel::kCoverage).Add(event, event.signal >= report.scope.signal_limit_dbm, [&] {
      return WordsOfWeakness(event, report);
    });
  } else if ((IsConnected(event) || IsDisconnect(event)) && event.is_now) {
    ++level(ServiceLevel::kCoverage).unmeasured;
  }
  if (!IsDisconnect(event)) return;
  if (const auto is_wanted = IsWanted(event)) {
    level(ServiceLevel::kStability).Add(event, *is_wanted, [&] {
      return WordsOfDisconnect(event, report);
    });
  } else if (event.is_now) {
    ++level(ServiceLevel::kStability).unmeasured;
  }
}

void JudgeJoin(const Join& join, const ReportEvents& report, LevelTally* level) {
  if (join.start != nullptr) {
    level->Add(*join.connect, join.duration_ms() <= report.scope.time_limit_ms,
               [&] { return WordsOfSlowness(join, report); });
  } else if (join.connect->is_now) {
    ++level->unmeasured;
  }
}

void JudgeSteer(const RecordedSteer& steer, LevelTally* level) {
  if (steer.outcome != SteerResult::kGone && steer.outcome != SteerResult::kUnknown) {
    level->Add(*steer.disconnect, steer.outcome == SteerResult::kBetter,
               [&] { return std::string(kOutcomeWords[static_cast<std::size_t>(steer.outcome)]); });
  } else if (steer.disconnect->is_now) {
    ++level->unmeasured;
  }
}

}  // namespace

void LevelTally::Add(const ReportEvent& event, bool is_good,
                     const std::function<std::string()>& cause) {
  if (!event.is_now) return before.Add(is_good);
  now.Add(is_good);
  trend[static_cast<std::size_t>(event.step)].Add(is_good);
  if (event.client >= 0) clients[static_cast<std::size_t>(event.client)].Add(is_good);
  if (!is_good) ++causes[cause()];
}

bool Join::is_bounce() const {
  return previous != nullptr && connect->t - previous->t <= kBounceMs;
}

std::string_view ResultName(SteerResult outcome) {
  return kOutcomes[static_cast<std::size_t>(outcome)];
}

bool IsConnected(const ReportEvent& event) { return event.type == Info::CONNECT && event.ok == 1; }

bool IsFailedJoin(const ReportEvent& event) {
  return event.ok == 0 &&
         std::ranges::find(kStages, event.type, &StageWords::type) != kStages.end();
}

bool IsDisconnect(const ReportEvent& event) { return event.type == Info::DISCONNECT; }

bool IsSteered(const ReportEvent& event) {
  return event.steering == Info::STEER || event.reason == Info::DISCONNECT_STEER_CLIENT;
}

std::optional<bool> IsWanted(const ReportEvent& disconnect) {
  if (IsSteered(disconnect)) return true;
  const auto row = std::ranges::find_if(
      Reasons(), [&](const ReasonWords& words) { return words.reason == disconnect.reason; });
  if (row == Reasons().end() || row->wish == Wish::kUnknown) return std::nullopt;
  return row->wish == Wish::kWanted;
}

std::string WordsOfFailure(const ReportEvent& event, const ReportEvents& report) {
  const auto* const stage = std::ranges::find(kStages, event.type, &StageWords::type);
  const std::string words(stage->words);
  if (event.reason >= 0) return words + ": " + WordsOfReason(report.reasons.TextOf(event.reason));
  if (event.status > 0) return fmt::format("{}: status {}", words, event.status);
  return words + ": no reason given";
}

std::string WordsOfDisconnect(const ReportEvent& event, const ReportEvents& report) {
  if (IsSteered(event)) return "steered";
  if (event.reason < 0) return "no reason given";
  return WordsOfReason(report.reasons.TextOf(event.reason));
}

Judgement Judge(const ReportEvents& report) {
  Judgement judgement;
  judgement.levels.assign(kLevels, LevelTally(report.scope.steps.size(), report.clients.size()));
  const auto level = [&](ServiceLevel which) {
    return &judgement.levels[static_cast<std::size_t>(which)];
  };
  for (const Client client : report.ByClient()) {
    FindJoins(client, &judgement.joins);
    FindSteers(client, &judgement.steers);
  }
  for (const ReportEvent& event : report.events) {
    if (event.client >= 0) continue;
    if (IsConnected(event)) judgement.joins.push_back({&event, nullptr, nullptr});
    if (!IsDisconnect(event) || !IsSteered(event)) continue;
    judgement.steers.push_back({&event, nullptr, SteerResult::kUnknown});
  }
  for (const ReportEvent& event : report.events) JudgeEvent(event, report, &judgement.levels);
  for (const Join& join : judgement.joins) JudgeJoin(join, report, level(ServiceLevel::kTime));
  for (const RecordedSteer& steer : judgement.steers) {
    JudgeSteer(steer, level(ServiceLevel::kSteering));
  }
  return judgement;
}

}  // namespace orvane::wavelarkctl
