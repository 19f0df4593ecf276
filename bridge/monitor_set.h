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
  kGone,  // its socket no longer exists
};

// The monitors that are attached to one served socket, and the lines that wait for each of them.
//
// The daemon is the monitor whose name ends in "-wavelark-INTERFACE". Lines that it has not
// received when it detaches, and lines without an attached daemon, are kept for kBacklogLife. The
// next daemon gets them first. Other monitors get lines only while they are attached.
//
// This class uses no descriptors and no clock: the caller provides the function that sends.
class MonitorSet {
 public:
  static constexpr platform::TimeSpan kBacklogLife = std::chrono::seconds(60);
  // A further monitor is refused.
  static constexpr std::size_t kMostMonitors = 64;

  using Sender =
      std::function<SendResult(const UnixAddress& to, bool is_daemon, std::string_view line)>;

  // `capacity` limits the lines that wait for each monitor, and those that wait for an absent
  // daemon.
  MonitorSet(std::string_view interface, std::size_t capacity, Sender send);
  MonitorSet(const MonitorSet&) = delete;
  MonitorSet& operator=(const MonitorSet&) = delete;

  // Returns whether the monitor is attached now. A monitor that already was keeps its lines.
  bool Attach(const UnixAddress& monitor, platform::MonotonicTime now);

  // Returns whether the monitor was attached.
  bool Detach(const UnixAddress& monitor, platform::MonotonicTime now);

  // Detaches all monitors.
  void DetachAll(platform::MonotonicTime now);

  // Queues a line for all monitors. Call Flush afterwards.
  void Push(std::string_view line, platform::MonotonicTime now);

  // Sends as much as possible. Detaches monitors that are gone, and drops expired lines.
  void Flush(platform::MonotonicTime now);

  // Returns whether a monitor was busy and has lines left, so that Flush must be called again.
  bool HasWaitingLines() const;

  std::size_t monitor_count() const { return monitors_.size(); }
  // The number of waiting lines, for monitors and for an absent daemon.
  std::size_t depth() const;
  // Lines dropped because a queue was full, and lines that waited too long for the daemon.
  std::uint64_t dropped_count() const { return dropped_count_; }
  std::uint64_t expired_count() const { return expired_count_; }

 private:
  struct Line {
    std::string text;
    platform::MonotonicTime at;  // start of its life without a daemon
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
