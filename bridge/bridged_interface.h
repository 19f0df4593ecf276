#ifndef BRIDGE_BRIDGED_INTERFACE_H_
#define BRIDGE_BRIDGED_INTERFACE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "bridge/counters.h"
#include "bridge/hostapd_link.h"
#include "bridge/monitor_set.h"
#include "bridge/nl80211_event.h"
#include "bridge/served_socket.h"
#include "bridge/station_tracker.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"

namespace orvane::bridge {

// The names of one interface: `served` is the daemon's name for it and the name of the served
// socket, `hostapd` is the name that hostapd and the kernel use.
struct InterfaceNames {
  std::string served;
  std::string hostapd;
};

// One interface: the link to its hostapd, its stations, and the served socket with its monitors.
// The socket exists while hostapd answers, and then until its clients have read the last lines.
class BridgedInterface {
 public:
  struct Settings {
    InterfaceNames names;
    platform::FilePath hostapd_directory;
    platform::FilePath served_directory;
    std::size_t queue_lines = 0;
  };
  struct Callbacks {
    // Reads the kernel's pending messages. Called before an event of hostapd is processed, and
    // before lines are written.
    std::function<void()> read_kernel;
    std::function<StationInfo(const ap::MacAddress& station)> read_station;
    std::function<void()> on_hostapd_up;
  };

  // Minimum time for which the served socket is removed, so that every client notices.
  static constexpr platform::TimeSpan kLeastAbsence = std::chrono::milliseconds(100);
  // Maximum time for clients to read the last lines before the served socket is removed.
  static constexpr platform::TimeSpan kLastReadWait = std::chrono::milliseconds(500);
  // Interval between checks of the served socket, and between attempts to create it.
  static constexpr platform::TimeSpan kServeInterval = std::chrono::seconds(1);
  // Delay between attempts to send to a monitor that does not read. It starts at kRetryDelay and
  // doubles up to kLongestRetryDelay.
  static constexpr platform::TimeSpan kRetryDelay = std::chrono::milliseconds(10);
  static constexpr platform::TimeSpan kLongestRetryDelay = std::chrono::milliseconds(160);
  // Maximum number of commands that wait for hostapd's answer. A further command is refused.
  static constexpr std::size_t kMostCommands = 64;

  // `loop` and `shared` must outlive the interface.
  BridgedInterface(platform::Loop& loop, SharedMemory* shared, Settings settings,
                   Callbacks callbacks);
  BridgedInterface(const BridgedInterface&) = delete;
  BridgedInterface& operator=(const BridgedInterface&) = delete;

  const InterfaceNames& names() const { return settings_.names; }
  bool is_up() const { return link_.is_up(); }

  // The lines that become due are written at the latest in the next turn of the loop.
  void OnNl80211Event(const Nl80211Event& event);
  // The kernel has dropped messages, after those that were passed on.
  void OnNl80211Loss() { tracker_.OnNl80211Loss(); }

  // Reads hostapd's events, writes the lines that are due, and sends as much as possible.
  void Pump();

  // Drops expired lines first, so that they do not count as waiting.
  InterfaceCounters counters();

 private:
  Moment Now() const;

  void OnUp();
  void OnDown();
  void KeepServing();
  void Serve();
  void StopServing();
  void StopServingWhenRead(platform::MonotonicTime deadline);
  void OnEvent(std::string_view line);
  void LogUnreadable(std::string_view line);
  void AskForSignal();
  void OnQuiet();
  void ReadAndSettle();
  void Settle();
  void Push(std::string_view line, std::size_t kind);
  SendResult SendLine(const UnixAddress& to, bool is_daemon, std::string_view line);
  void FlushMonitors();
  void RetryLater(platform::TimeSpan delay);
  void SetAlarm();

  void OnDatagram(const UnixAddress& sender, std::string_view datagram);
  void ForwardCommand(const UnixAddress& sender, std::string_view command);
  void NoteSteering(std::string_view command);
  void Answer(const UnixAddress& client, std::string_view answer);

  platform::Loop& loop_;
  Settings settings_;
  Callbacks callbacks_;
  InterfaceCounters counts_;
  StationTracker tracker_;
  bool is_asking_for_signal_ = false;
  bool has_logged_unreadable_ = false;
  std::unique_ptr<ServedSocket> socket_;
  MonitorSet monitors_;
  std::optional<platform::MonotonicTime> absent_since_;
  platform::OneShotTimer serve_timer_;
  platform::OneShotTimer alarm_;
  platform::OneShotTimer retry_timer_;
  HostapdLink link_;  // last member: it runs callbacks
};

}  // namespace orvane::bridge

#endif  // BRIDGE_BRIDGED_INTERFACE_H_
