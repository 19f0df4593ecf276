#include "testbed/event_player.h"

#include <algorithm>
#include <utility>

namespace orvane::testbed {
namespace {

using platform::TimeSpan;

// Commands and signals are served after so many lines.
constexpr int kLinesPerTurn = 64;

}  // namespace

EventPlayer::EventPlayer(platform::Loop& loop, ControlSocket& socket, EventPlan plan,
                         GoneCallback on_gone, std::function<void()> on_done)
    : socket_(socket),
      plan_(std::move(plan)),
      on_gone_(std::move(on_gone)),
      on_done_(std::move(on_done)),
      timer_(loop) {}

void EventPlayer::Attach(const PeerAddress& listener) {
  if (std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) {
    listeners_.push_back(listener);
  }
  if (!started_at_) started_at_ = Clock::now();
  if (next_ < plan_.count) timer_.Start(TimeSpan(0), [this] { PlayDueLines(); });
}

bool EventPlayer::Detach(const PeerAddress& listener) {
  if (waiting_) std::erase(*waiting_, listener);
  return std::erase(listeners_, listener) > 0;
}

void EventPlayer::PlayDueLines() {
  for (int played = 0; played < kLinesPerTurn; ++played) {
    if (plan_.waits_for_listener && listeners_.empty()) return;  // Attach continues
    if (!IsDue()) return;                                        // the timer continues
    if (!PlayLine()) break;
    if (next_ == plan_.count) {
      on_done_();
      return;
    }
  }
  timer_.Start(TimeSpan(0), [this] { PlayDueLines(); });
}

// Returns whether the next line is due. Otherwise starts the timer for it.
bool EventPlayer::IsDue() {
  if (!line_) line_ = plan_.line(next_);
  const TimeSpan left = std::chrono::ceil<TimeSpan>(*started_at_ + line_->at - Clock::now());
  if (left.count() <= 0) return true;
  timer_.Start(left, [this] { PlayDueLines(); });
  return false;
}

// Returns whether every listener has received the line.
bool EventPlayer::PlayLine() {
  if (!waiting_) waiting_ = listeners_;
  if (!SendToWaiting()) return false;
  waiting_.reset();
  // The last listener may have disappeared during the send: the line then waits for another one.
  if (plan_.waits_for_listener && listeners_.empty()) return false;
  line_.reset();
  ++next_;
  return true;
}

bool EventPlayer::SendToWaiting() {
  while (!waiting_->empty()) {
    const PeerAddress listener = waiting_->back();
    const ControlSocket::SendResult result = socket_.Send(listener, line_->line);
    if (result == ControlSocket::SendResult::kFull) return false;
    waiting_->pop_back();
    if (result == ControlSocket::SendResult::kGone) {
      std::erase(listeners_, listener);
      on_gone_(listener);
    }
  }
  return true;
}

}  // namespace orvane::testbed
