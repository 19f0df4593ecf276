#ifndef BRIDGE_MONITOR_SET_H_
#define BRIDGE_MONITOR_SET_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "bridge/unix_address.h"
#include "platform/time.h"

namespace orvane::bridge {

enum class SendResult : std::uint8_t {
  kSent,
  kBusy,  // its queue in the kernel is full
  kGone,  // nobody is there any more
};

// Those who have attached to one served socket, and the lines that wait for each of them.
//
// The daemon is the monitor whose name ends in "-wavelark-INTERFACE". Lines that it has not taken
// when it leaves, and those that come while there is no daemon, are kept for a while, and are the
// first that the next daemon gets. Other monitors get lines while they are attached.
//
// No descriptors and no clock: sending is a function that the caller gives.
class MonitorSet {
 public:
  static constexpr platform::TimeSpan kBacklogLife = std::chrono::seconds(60);
  // Nobody needs more monitors; one more is refused.
  static constexpr std::size_t kMostMonitors = 64;

  using Sender =
      std::function<SendResult(const UnixAddress& to, bool is_daemon, std::string_view line)>;

  // At most `capacity` lines wait for a monitor, and as many for a daemon that is away.
  MonitorSet(std::string_view interface, std::size_t capacity, Sender send);
  MonitorSet(const MonitorSet&) = delete;
  MonitorSet& operator=(const MonitorSet&) = delete;

  // Whether it is attached now. One that is already keeps its lines.
  bool Attach(const UnixAddress& monitor, platform::MonotonicTime now);

  // Whether it was attached.
  bool Detach(const UnixAddress& monitor, platform::MonotonicTime now);

  // Everybody is detached.
  void DetachAll(platform::MonotonicTime now);

  // Hands a line to everybody. To be followed by Flush.
  void Push(std::string_view line, platform::MonotonicTime now);

  // Sends what can be sent. Those who are gone are detached.
  void Flush(platform::MonotonicTime now);

  // Whether a monitor was too busy for some of its lines: Flush is to be called again.
  bool HasWaitingLines() const;

  std::size_t monitor_count() const { return monitors_.size(); }
  // Lines that wait, for monitors and for a daemon that is away.
  std::size_t depth() const;
  // Lines that were lost since a queue was full, and since no daemon came for too long.
  std::uint64_t dropped_count() const { return dropped_count_; }
  std::uint64_t expired_count() const { return expired_count_; }

 private:
  struct Line {
    std::string text;
    platform::MonotonicTime at;
  };
  using Queue = std::deque<Line>;

  bool IsDaemon(const UnixAddress& monitor) const;
  bool HasDaemon() const;
  void Append(Line line, Queue* queue);
  void DropExpired(platform::MonotonicTime now);
  bool SendLines(const UnixAddress& monitor, Queue* queue);
  void KeepLines(const UnixAddress& monitor, Queue* queue, platform::MonotonicTime now);

  std::string daemon_suffix_;
  std::size_t capacity_;
  Sender send_;
  std::map<UnixAddress, Queue> monitors_;
  Queue backlog_;  // empty while a daemon is attached
  std::uint64_t dropped_count_ = 0;
  std::uint64_t expired_count_ = 0;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_MONITOR_SET_H_
