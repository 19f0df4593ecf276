#ifndef TESTBED_EVENT_PLAYER_H_
#define TESTBED_EVENT_PLAYER_H_

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "platform/loop.h"
#include "platform/one_shot_timer.h"
#include "testbed/control_socket.h"
#include "testbed/event_plan.h"

namespace orvane::testbed {

// The listeners of one control socket, and what is played to them: each line goes to everybody who
// is attached when it is due. A listener whose queue is full is waited for, so none misses a line.
class EventPlayer {
 public:
  using GoneCallback = std::function<void(const PeerAddress& listener)>;

  // `socket` must outlive the player. `on_gone` is told of listeners that left without a word,
  // `on_done`, from the loop, that the last line has been played.
  EventPlayer(platform::Loop& loop, ControlSocket& socket, EventPlan plan, GoneCallback on_gone,
              std::function<void()> on_done);

  // The first listener starts the play.
  void Attach(const PeerAddress& listener);

  // False when it is no listener.
  bool Detach(const PeerAddress& listener);

  std::size_t plan_size() const { return plan_.count; }

 private:
  using Clock = std::chrono::steady_clock;

  void PlayDueLines();
  bool PlayLine();
  bool IsDue();
  bool SendToWaiting();

  ControlSocket& socket_;
  EventPlan plan_;
  GoneCallback on_gone_;
  std::function<void()> on_done_;
  std::vector<PeerAddress> listeners_;
  std::optional<Clock::time_point> started_at_;
  std::size_t next_ = 0;           // of the plan's lines
  std::optional<TimedLine> line_;  // that one, once it has been looked at
  // Those that have yet to get a line that is being sent.
  std::optional<std::vector<PeerAddress>> waiting_;
  platform::OneShotTimer timer_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_EVENT_PLAYER_H_
