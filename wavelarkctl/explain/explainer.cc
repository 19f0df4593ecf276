#include "wavelarkctl/explain/explainer.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "common/interface_names.h"

namespace orvane::wavelarkctl {
namespace {

using ap::MacAddress;
using ap::SteerVerdict;
using platform::TimeSpan;
using platform::WallTime;

// The daemon writes a line a little after it reads the clock. Polls are at least a second apart.
constexpr TimeSpan kLogDelay = std::chrono::milliseconds(500);
// How long the daemon tries to send a command.
constexpr TimeSpan kSendPatience = std::chrono::seconds(2);
constexpr std::string_view kVerbose = "VERBOSE1";

bool IsSameMoment(WallTime a, WallTime b) { return a - b < kLogDelay && b - a < kLogDelay; }

// The daemon steers on two interfaces. Returns an empty text for any other interface.
std::string OtherInterface(std::string_view interface) {
  if (interface == ap::kMainInterfaces[0]) return ap::kMainInterfaces[1];
  if (interface == ap::kMainInterfaces[1]) return ap::kMainInterfaces[0];
  return "";
}

bool IsCloser(const ExplainedDecision& a, const ExplainedDecision& b) {
  if (a.decision.why != b.decision.why) return a.decision.why > b.decision.why;
  return DistanceOf(a) < DistanceOf(b);
}

PollRun StartRun(const ExplainedDecision& explained) {
  return {.first = explained,
          .closest = explained,
          .last = explained,
          .polls = 0,
          .lowest = explained.decision.metric,
          .highest = explained.decision.metric};
}

void AddToRuns(const ExplainedDecision& explained, std::vector<PollRun>* runs) {
  const Decision& decision = explained.decision;
  if (runs->empty() || decision.steered || runs->back().last.decision.why != decision.why ||
      runs->back().last.decision.interface != decision.interface) {
    runs->push_back(StartRun(explained));
  }
  PollRun& run = runs->back();
  run.last = explained;
  ++run.polls;
  run.lowest = std::min(run.lowest, decision.metric);
  run.highest = std::max(run.highest, decision.metric);
  if (IsCloser(explained, run.closest)) run.closest = explained;
}

}  // namespace

std::int64_t DistanceOf(const ExplainedDecision& explained) {
  const Decision& decision = explained.decision;
  const SteerLimits& limits = explained.limits;
  switch (decision.why) {
    case SteerVerdict::kNotBelowFloor:
      return decision.metric - limits.lqm_floor + 1;
    case SteerVerdict::kWithinHysteresis:
      return limits.lqm_hysteresis - std::abs(decision.metric - decision.last_metric) + 1;
    case SteerVerdict::kTooEarly:
      return (limits.steer_interval - *decision.since_last_steer).count();
    case SteerVerdict::kNew:
    case SteerVerdict::kSteered:
      return 0;
  }
  return 0;
}

Explainer::Explainer(AssumedSettings settings, ExplainFilter filter, Sink sink)
    : settings_(std::move(settings)), filter_(std::move(filter)), sink_(std::move(sink)) {}

void Explainer::AddLine(std::string_view line) {
  ++summary_.lines;
  const auto log_line = reader_.Read(line);
  if (!log_line) return;
  if (summary_.daemon_lines++ == 0) begin_ = log_line->time;
  summary_.is_verbose = summary_.is_verbose || log_line->severity == kVerbose;
  NoteTime(log_line->time);
  if (const auto event = ParseMessage(log_line->message)) Handle(log_line->time, *event);
}

void Explainer::Finish() { FlushPending(); }

void Explainer::NoteTime(WallTime time) {
  const bool is_set_back = summary_.daemon_lines > 1 && summary_.last - time > kLogDelay;
  const bool is_file_begin = std::exchange(is_file_begin_, false);
  if (is_set_back && summary_.last >= filter_.since) {
    if (is_file_begin) {
      ++summary_.early_files;
    } else if (summary_.clock_setbacks++ == 0) {
      summary_.first_setback = summary_.last;
    }
  }
  if (!summary_.first && time >= filter_.since) summary_.first = time;
  summary_.last = time;
}

void Explainer::Handle(WallTime time, const LogEvent& event) {
  // These two belong to the judgement before them.
  const bool completes = std::holds_alternative<ClientSteered>(event) ||
                         std::holds_alternative<DisassociateSent>(event);
  if (!completes) FlushPending();
  std::visit([&](const auto& alternative) { On(time, alternative); }, event);
}

void Explainer::On(WallTime /*time*/, const DaemonStarted& /*event*/) { ForgetClients(); }

void Explainer::On(WallTime /*time*/, const SteeringStopped& /*event*/) { ForgetClients(); }

void Explainer::On(WallTime time, const SteeringStarted& event) {
  ForgetClients();
  settings_.TakeLog(event, time);
}

void Explainer::On(WallTime time, const ClientJudged& event) {
  if (!IsWanted(event.address)) return;
  Tracked& tracked = tracked_[event.address];
  const WallTime base = time - event.since_last_steer;
  if (!tracked.base || !IsSameMoment(*tracked.base, base)) {
    // Before the first line, the client may have been steered instead.
    const bool is_arrival = tracked.base || event.last_metric == 0 || base >= begin_;
    Place(event.address, tracked, base);
    if (is_arrival) ReportNew(event.address, tracked.interface, base);
  }
  SeeAgain(event.address, tracked, event, time);
  pending_address_ = event.address;
  pending_ = Decision{.time = time,
                      .interface = tracked.interface,
                      .address = event.address.ToString(),
                      .metric = event.metric,
                      .last_metric = event.last_metric,
                      .since_last_steer = event.since_last_steer,
                      .steered = false,
                      .why = SteerVerdict::kNew};
  pending_->why = DeriveWhy(*pending_, settings_.limits());
}

void Explainer::On(WallTime time, const ClientSteered& event) {
  if (!pending_ || pending_->steered || pending_address_ != event.address) {
    FlushPending();
    if (!IsWanted(event.address)) return;
    // Without --v=1 the log lacks the line of the judgement.
    SeeAgainByNextSteer(event, time);
    pending_address_ = event.address;
    pending_ = Decision{.time = time,
                        .interface = tracked_[event.address].interface,
                        .address = event.address.ToString(),
                        .metric = event.metric,
                        .last_metric = event.last_metric,
                        .since_last_steer = std::nullopt,
                        .steered = false,
                        .why = SteerVerdict::kSteered};
  }
  pending_->steered = true;
  tracked_[event.address].base = time;
  BeginSteer(event.address, *pending_);
}

void Explainer::On(WallTime /*time*/, const DisassociateSent& event) {
  if (!IsWanted(event.address)) return;
  tracked_[event.address].interface = event.interface;
  if (pending_ && pending_address_ == event.address) pending_->interface = event.interface;
  SteerRecord* steer = OpenSteer(event.address);
  if (steer != nullptr) steer->interface = event.interface;
}

void Explainer::On(WallTime time, const CommandLost& /*event*/) {
  TrimRecentSteers(time);
  for (const auto& [steered_at, address] : recent_steers_) {
    if (SteerRecord* steer = OpenSteer(address)) steer->is_command_lost = true;
  }
}

void Explainer::On(WallTime time, const ClientCame& event) {
  event_interfaces_.emplace(event.interface);
  if (!IsWanted(event.address)) return;
  Tracked& tracked = tracked_[event.address];
  tracked.came_to = event.interface;
  SteerRecord* steer = OpenSteer(event.address);
  if (steer == nullptr || steer->back) return;
  steer->back = time;
  steer->is_back_by_event = true;
  steer->back_interface = event.interface;
  steer->has_moved = !steer->interface.empty() && steer->interface != event.interface;
}

void Explainer::On(WallTime /*time*/, const ClientLeft& event) {
  event_interfaces_.emplace(event.interface);
  if (!IsWanted(event.address)) return;
  SteerRecord* steer = OpenSteer(event.address);
  if (steer != nullptr && !steer->back) steer->has_left = true;
}

void Explainer::On(WallTime /*time*/, const ClientPruned& event) {
  if (IsWanted(event.address)) tracked_.erase(event.address);
}

void Explainer::On(WallTime time, const PollFailed& /*event*/) {
  if (time >= filter_.since) ++summary_.failed_polls;
}

bool Explainer::IsWanted(const MacAddress& address) const {
  return !filter_.client || *filter_.client == address;
}

void Explainer::ForgetClients() {
  for (const auto& [address, tracked] : tracked_) {
    if (SteerRecord* steer = OpenSteer(address)) steer->is_cut_off = true;
  }
  tracked_.clear();
}

// The daemon has seen the client on another interface than in its last poll, or for the first time.
void Explainer::Place(const MacAddress& address, Tracked& tracked, WallTime time) {
  const bool has_moved = tracked.base.has_value();
  const std::string before = tracked.interface;
  if (!tracked.came_to.empty()) {
    tracked.interface = tracked.came_to;
  } else {
    tracked.interface = has_moved ? OtherInterface(before) : "";
  }
  tracked.came_to.clear();
  tracked.base = time;
  SteerRecord* steer = OpenSteer(address);
  if (steer != nullptr && has_moved) {
    steer->has_moved = true;
    if (!steer->back) {
      steer->back = time;
      steer->back_interface = tracked.interface;
    }
  }
}

// A poll has judged the client again. This completes the record of its last steer.
void Explainer::SeeAgain(const MacAddress& address, Tracked& tracked, const ClientJudged& event,
                         WallTime time) {
  if (tracked.interface.empty()) tracked.interface = tracked.came_to;
  // The kernel may still list the client on the interface that it has left.
  if (tracked.interface == tracked.came_to) tracked.came_to.clear();
  SteerRecord* steer = OpenSteer(address);
  if (steer == nullptr) return;
  if (steer->has_moved && tracked.interface == steer->interface) return;
  steer->metric_after = event.metric;
  if (!steer->back) {
    steer->back = time;
    steer->back_interface = tracked.interface;
  }
  steer->has_events = event_interfaces_.contains(steer->interface);
  tracked.has_open_steer = false;
}

// As SeeAgain, for a log without polls. The daemon keeps a last metric for each interface.
void Explainer::SeeAgainByNextSteer(const ClientSteered& event, WallTime time) {
  SteerRecord* steer = OpenSteer(event.address);
  if (steer == nullptr) return;
  // The daemon has forgotten a client that it has not seen for two steer intervals.
  if (event.last_metric == 0 && time - steer->time > 2 * steer->steer_interval) return;
  steer->has_moved = steer->has_moved || event.last_metric != steer->metric;
  steer->metric_after = event.metric;
  if (!steer->back) steer->back = time;
}

SteerRecord* Explainer::OpenSteer(const MacAddress& address) {
  const auto tracked = tracked_.find(address);
  if (tracked == tracked_.end() || !tracked->second.has_open_steer) return nullptr;
  return &histories_[address].steers.back();
}

void Explainer::BeginSteer(const MacAddress& address, const Decision& decision) {
  if (decision.time < filter_.since) return;
  SteerRecord& steer = histories_[address].steers.emplace_back();
  steer.time = decision.time;
  steer.interface = decision.interface;
  steer.metric = decision.metric;
  steer.steer_interval = settings_.limits().steer_interval;
  tracked_[address].has_open_steer = true;
  TrimRecentSteers(decision.time);
  recent_steers_.emplace_back(decision.time, address);
}

void Explainer::TrimRecentSteers(WallTime time) {
  const auto is_recent = [time](WallTime other) {
    return time - other <= kSendPatience && other - time <= kSendPatience;
  };
  while (!recent_steers_.empty() && !is_recent(recent_steers_.front().first)) {
    recent_steers_.pop_front();
  }
}

void Explainer::FlushPending() {
  if (auto decision = std::exchange(pending_, std::nullopt)) {
    Report(pending_address_, *std::move(decision));
  }
}

void Explainer::ReportNew(const MacAddress& address, const std::string& interface, WallTime time) {
  Report(address, {.time = time,
                   .interface = interface,
                   .address = address.ToString(),
                   .why = SteerVerdict::kNew});
}

void Explainer::Report(const MacAddress& address, Decision decision) {
  if (decision.time < filter_.since) return;
  const bool is_contradiction = decision.steered != (decision.why == SteerVerdict::kSteered);
  if (decision.steered) decision.why = SteerVerdict::kSteered;
  const ExplainedDecision explained = {std::move(decision), settings_.limits(), is_contradiction};
  Count(histories_[address], explained);
  if (sink_) sink_(explained);
}

void Explainer::Count(ClientHistory& history, const ExplainedDecision& explained) {
  const Decision& decision = explained.decision;
  if (explained.is_contradiction && summary_.contradictions++ == 0) {
    summary_.first_contradiction = explained;
  }
  history.interface = decision.interface;
  if (filter_.keep_runs) AddToRuns(explained, &history.runs);
  if (decision.why == SteerVerdict::kNew) return;
  history.lowest = history.polls == 0 ? decision.metric : std::min(history.lowest, decision.metric);
  history.highest = std::max(history.highest, decision.metric);
  ++history.polls;
  if (!decision.steered && (!history.closest || IsCloser(explained, *history.closest))) {
    history.closest = explained;
  }
}

}  // namespace orvane::wavelarkctl
