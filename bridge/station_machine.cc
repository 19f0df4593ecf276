#include "bridge/station_machine.h"

#include <algorithm>
#include <iterator>

#include "bridge/reasons.h"

namespace orvane::bridge {
namespace {

using platform::MonotonicTime;
using platform::TimeSpan;

bool IsWithin(std::optional<MonotonicTime> since, TimeSpan span, MonotonicTime now) {
  return since.has_value() && now - *since <= span;
}

std::optional<MonotonicTime> Earlier(std::optional<MonotonicTime> one, MonotonicTime other) {
  return one.has_value() ? std::min(*one, other) : other;
}

}  // namespace

// Returns whether a request of this kind repeats or continues the last one: the last line has this
// kind and awaits its final answer. A station repeats its request if it gets no answer in time.
bool StationMachine::IsRepetition(LineKind kind) const {
  return !steps_.empty() && steps_.back().kind == kind && steps_.back().awaits_answer;
}

// The station has progressed, so earlier lines wait for their evidence until their deadline, but at
// most kLateWait from now.
void StationMachine::OpenStep(const Step& step, MonotonicTime now) {
  for (Step& earlier : steps_) earlier.deadline = std::min(earlier.deadline, now + kLateWait);
  steps_.push_back(step);
}

void StationMachine::OpenRequest(LineKind kind, const Background& background, Moment now) {
  if (IsRepetition(kind)) {
    steps_.back().deadline = now.monotonic + kAnswerWait;
    return;
  }
  Step step = {.kind = kind, .attributes = {}, .deadline = now.monotonic + kAnswerWait};
  step.attributes.time = now.wall;
  step.attributes.since_probe = background.since_probe;
  step.attributes.since_steering = background.since_steering;
  step.attributes.is_steered = background.since_steering.has_value();
  step.awaits_answer = true;
  step.awaits_signal = true;
  OpenStep(step, now.monotonic);
}

void StationMachine::OnAuthenticationRequest(const ManagementFrame& frame,
                                             const Background& background, Moment now) {
  // Later frames of an exchange are ignored if its beginning was missed.
  if (frame.transaction != 1 && !IsRepetition(LineKind::kAuthentication)) return;
  CheckJoin(now);
  // A station that starts over has given up its earlier attempt.
  if (HasMismatch()) FailJoin(kReasonPskMismatch, now);
  join_.reset();
  leave_frame_.reset();
  OpenRequest(LineKind::kAuthentication, background, now);
  TakeEvidence(now.monotonic);
}

void StationMachine::OnAssociationRequest(const Background& background, Moment now) {
  OpenRequest(LineKind::kAssociation, background, now);
  TakeEvidence(now.monotonic);
}

void StationMachine::OnLeaveFrame(FrameKind kind, MonotonicTime now) { leave_frame_ = {kind, now}; }

void StationMachine::OnConnected(const StationInfo& info, const Background& background,
                                 Moment now) {
  join_.reset();
  leave_frame_.reset();
  connected_at_ = now.monotonic;
  Step step = {.kind = LineKind::kConnect, .attributes = {}, .deadline = now.monotonic};
  step.attributes.time = now.wall;
  step.attributes.success = true;
  step.attributes.station = info;
  step.attributes.since_steering = background.since_steering;
  step.attributes.is_steered = background.since_steering.has_value();
  OpenStep(step, now.monotonic);
}

void StationMachine::OnDisconnected(const Departure& departure, Moment now) {
  Step step = {
      .kind = LineKind::kDisconnect, .attributes = {}, .deadline = now.monotonic + kLateWait};
  step.attributes.time = now.wall;
  step.attributes.station = departure.info;
  step.attributes.event_reason =
      departure.has_accepted_transition ? kReasonTransition : ReasonOfLeaveFrame();
  step.attributes.is_steered = departure.is_steered;
  step.awaits_notice = step.attributes.event_reason.empty();
  step.awaits_removal = true;
  step.has_moved = departure.has_moved;
  OpenStep(step, now.monotonic);
  join_.reset();
  connected_at_.reset();
  leave_frame_.reset();
  TakeEvidence(now.monotonic);
}

void StationMachine::OnPskMismatch(MonotonicTime now) {
  if (!join_.has_value()) {
    // The renewal of a connected station's keys failed. This is not a failed join.
    if (connected_at_.has_value()) return;
    // Not all drivers report the association, so the join begins here.
    join_ = Join{now};
  }
  join_->mismatch_at = now;
}

// Returns an empty text if the station has sent no leave frame. The access point's frame then has
// the reason.
std::string_view StationMachine::ReasonOfLeaveFrame() const {
  if (!leave_frame_.has_value()) return "";
  return leave_frame_->kind == FrameKind::kDeauthentication ? kReasonClientDeauthentication
                                                            : kReasonClientDisassociation;
}

bool StationMachine::AwaitsSignal() const {
  return std::ranges::any_of(steps_, &Step::awaits_signal);
}

void StationMachine::OnSignal(std::optional<int> signal) {
  for (Step& step : steps_) {
    if (!std::exchange(step.awaits_signal, false)) continue;
    step.attributes.frame_rssi = signal;
  }
}

void StationMachine::OnFrameSent(const FrameSent& sent, MonotonicTime now) {
  const ManagementFrame& frame = sent.frame;
  switch (frame.kind) {
    case FrameKind::kAuthentication:
    case FrameKind::kAssociationResponse: {
      const bool is_authentication = frame.kind == FrameKind::kAuthentication;
      // Handshake messages before this answer belong to an earlier association.
      last_message_.reset();
      AddEvidence(Answer{is_authentication ? LineKind::kAuthentication : LineKind::kAssociation,
                         frame.code, sent.is_acknowledged, IsLastAnswer(frame)},
                  now);
      return;
    }
    case FrameKind::kDeauthentication:
    case FrameKind::kDisassociation:
      AddEvidence(Notice{frame.code, last_message_}, now);
      return;
    case FrameKind::kAssociationRequest:
      return;
  }
}

void StationMachine::OnEapolSent(EapolMessage message) {
  if (message != EapolMessage::kOther) last_message_ = message;
}

void StationMachine::OnRemoved(const StationInfo& info, MonotonicTime now) {
  AddEvidence(Removal(info), now);
}

void StationMachine::AddEvidence(const std::variant<Answer, Notice, Removal>& content,
                                 MonotonicTime now) {
  if (evidence_.size() >= kMostEvidence) evidence_.pop_front();
  evidence_.push_back({content, now});
  TakeEvidence(now);
}

// Applies the stored evidence to the waiting lines, oldest line first.
void StationMachine::TakeEvidence(MonotonicTime now) {
  for (Step& step : steps_) {
    if (step.awaits_answer) TakeAnswer(&step, now);
    if (step.awaits_notice || step.awaits_removal) TakeLeave(&step);
  }
}

// Applies the answers to a request, up to the final one. Drops the evidence before each answer,
// because that evidence belongs to an earlier connection.
void StationMachine::TakeAnswer(Step* step, MonotonicTime now) {
  while (step->awaits_answer) {
    const auto found = std::ranges::find_if(evidence_, [step](const Evidence& evidence) {
      const Answer* answer = std::get_if<Answer>(&evidence.content);
      return answer != nullptr && answer->to == step->kind;
    });
    if (found == evidence_.end()) return;
    const Answer answer = std::get<Answer>(found->content);
    // hostapd removes a connected station that authenticates, and does not report a disconnect.
    const bool is_removed = std::any_of(evidence_.begin(), found, [](const Evidence& evidence) {
      return std::holds_alternative<Removal>(evidence.content);
    });
    if (is_removed && step->kind == LineKind::kAuthentication) connected_at_.reset();
    evidence_.erase(evidence_.begin(), std::next(found));
    ApplyAnswer(answer, step, now);
  }
}

void StationMachine::ApplyAnswer(const Answer& answer, Step* step, MonotonicTime now) {
  if (!answer.is_final && answer.is_acknowledged) {
    step->deadline = now + kExchangeWait;
    return;
  }
  const bool is_success = answer.status == 0 && answer.is_acknowledged;
  LineAttributes& attributes = step->attributes;
  attributes.success = is_success;
  attributes.frame_status = answer.status;
  attributes.event_reason = ReasonOfStatus(answer.status);
  if (attributes.event_reason.empty() && !answer.is_acknowledged) {
    attributes.event_reason = kReasonNoAck;
  }
  step->awaits_answer = false;
  if (step->kind == LineKind::kAssociation) {
    join_.reset();
    // A connected station that only associates again stays connected.
    if (is_success && !connected_at_.has_value()) join_ = Join{now};
  }
}

// Takes the notice and the removal that the line waits for. Stops at an answer, because it belongs
// to a later connection.
void StationMachine::TakeLeave(Step* step) {
  while (!evidence_.empty() && (step->awaits_notice || step->awaits_removal)) {
    const auto& content = evidence_.front().content;
    if (std::holds_alternative<Answer>(content)) {
      step->awaits_notice = step->awaits_removal = false;
      return;
    }
    if (const Notice* notice = std::get_if<Notice>(&content)) {
      if (std::exchange(step->awaits_notice, false)) ApplyNotice(*notice, step);
    } else {
      // A driver may report a removal without any station information.
      const auto& info = std::get<Removal>(content);
      if (info != StationInfo()) step->attributes.station = info;
      step->awaits_removal = false;
    }
    evidence_.pop_front();
  }
}

void StationMachine::ApplyNotice(const Notice& notice, Step* step) {
  if (step->has_moved && !MayHaveMoved(notice.reason)) step->has_moved = false;
  if (step->has_moved) return;
  step->attributes.event_reason = ReasonOfNotice(notice.reason, notice.last_message);
}

// Opens a CONNECT line with success:0 if the join has failed. Drops a join without a result after
// kHandshakeWait.
void StationMachine::CheckJoin(Moment now) {
  if (!join_.has_value()) return;
  if (const auto reason = FindFailure()) {
    FailJoin(*reason, now);
  } else if (HasMismatch()) {
    if (!IsWithin(join_->mismatch_at, kRetryWait, now.monotonic)) FailJoin(kReasonPskMismatch, now);
  } else if (!IsWithin(join_->since, kHandshakeWait, now.monotonic)) {
    join_.reset();
  }
}

// Returns why a join has failed, or nothing if it has not.
std::optional<std::string_view> StationMachine::FindFailure() {
  if (leave_frame_.has_value()) return ReasonOfLeaveFrame();
  // Evidence after an answer belongs to a later connection.
  if (evidence_.empty() || std::holds_alternative<Answer>(evidence_.front().content)) {
    return std::nullopt;
  }
  const Evidence evidence = evidence_.front();
  evidence_.pop_front();
  if (const Notice* notice = std::get_if<Notice>(&evidence.content)) {
    return ReasonOfNotice(notice->reason, notice->last_message);
  }
  // A removal alone is not a failure: hostapd also removes and re-adds a station that repeats its
  // association.
  return HasMismatch() ? std::optional(kReasonPskMismatch) : std::nullopt;
}

void StationMachine::FailJoin(std::string_view reason, Moment now) {
  Step step = {.kind = LineKind::kConnect, .attributes = {}, .deadline = now.monotonic};
  step.attributes.time = now.wall;
  step.attributes.success = false;
  step.attributes.event_reason = HasMismatch() ? kReasonPskMismatch : reason;
  OpenStep(step, now.monotonic);
  join_.reset();
}

void StationMachine::Settle(Moment now, std::vector<EventLine>* lines) {
  DropEvidence(now.monotonic);
  CheckJoin(now);
  while (!steps_.empty() &&
         (steps_.front().IsComplete() || steps_.front().deadline <= now.monotonic)) {
    WriteFirstStep(lines);
  }
}

void StationMachine::Finish(std::vector<EventLine>* lines) {
  while (!steps_.empty()) WriteFirstStep(lines);
}

void StationMachine::WriteFirstStep(std::vector<EventLine>* lines) {
  Step& step = steps_.front();
  if (step.has_moved && step.attributes.event_reason.empty()) {
    step.attributes.event_reason = kReasonOtherBss;
  }
  lines->push_back({step.kind, FormatEventLine(step.kind, mac_, step.attributes)});
  steps_.pop_front();
}

// Settle calls this when nothing is left to read. hostapd reports a request before it sends the
// answer, so no line will use the remaining answers: they answer repeated requests, or requests
// that hostapd did not report.
void StationMachine::DropEvidence(MonotonicTime now) {
  std::erase_if(evidence_, [](const Evidence& evidence) {
    return std::holds_alternative<Answer>(evidence.content);
  });
  while (!evidence_.empty() && now - evidence_.front().at >= kEvidenceLife) {
    evidence_.pop_front();
  }
  if (leave_frame_.has_value() && now - leave_frame_->at >= kEvidenceLife) leave_frame_.reset();
}

std::optional<MonotonicTime> StationMachine::NextDeadline() const {
  std::optional<MonotonicTime> deadline;
  if (!steps_.empty()) deadline = steps_.front().deadline;
  if (!evidence_.empty()) deadline = Earlier(deadline, evidence_.front().at + kEvidenceLife);
  if (leave_frame_.has_value()) deadline = Earlier(deadline, leave_frame_->at + kEvidenceLife);
  // IsWithin includes the end of the wait, so the deadline is one microsecond later.
  if (HasMismatch()) {
    deadline = Earlier(deadline, *join_->mismatch_at + kRetryWait + TimeSpan(1));
  } else if (join_.has_value()) {
    deadline = Earlier(deadline, join_->since + kHandshakeWait + TimeSpan(1));
  }
  return deadline;
}

bool StationMachine::IsIdle() const {
  return steps_.empty() && evidence_.empty() && !join_.has_value() && !connected_at_.has_value() &&
         !leave_frame_.has_value();
}

}  // namespace orvane::bridge
