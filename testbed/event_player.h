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

// Plays lines to the listeners of a control socket: each line goes to every listener that is
// attached when it is due. The player waits for a listener whose queue is full, so none misses a
// line.
class EventPlayer {
 public:
  using GoneCallback = std::function<void(const PeerAddress& listener)>;

  // `socket` must outlive the player. `on_gone` runs for each listener that disappeared without
  // detaching, `on_done` on the loop after the last line.
  EventPlayer(platform::Loop& loop, ControlSocket& socket, EventPlan plan, GoneCallback on_gone,
              std::function<void()> on_done);

  // The first listener starts the play.
  void Attach(const PeerAddress& listener);

  // Returns false if it is not a listener.
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
  std::size_t next_ = 0;           // index of the next line of the plan
  std::optional<TimedLine> line_;  // the next line, once it has been created
  // The listeners that have not received the current line yet.
  std::optional<std::vector<PeerAddress>> waiting_;
  platform::OneShotTimer timer_;
};

}  // namespace orvane::testbed

#endif  // TESTBED_EVENT_PLAYER_H_
