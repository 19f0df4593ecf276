#ifndef BRIDGE_HOSTAPD_LINK_H_
#define BRIDGE_HOSTAPD_LINK_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bridge/file_identity.h"
#include "bridge/hostapd_channel.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"
#include "platform/weak_ptr.h"

namespace orvane::bridge {

// Keeps a connection to the hostapd of one interface and makes it report what the bridge needs,
// also after it has reloaded its configuration. While hostapd is absent it checks the path at
// intervals. This also finds a socket in a directory that is created later, and detects a hostapd
// that was killed and left its socket behind.
class HostapdLink {
 public:
  // Interval between checks of hostapd's socket.
  static constexpr platform::TimeSpan kLookInterval = std::chrono::milliseconds(200);
  // Number of checks between two commands that renew the settings and show that hostapd answers.
  static constexpr int kLooksPerRenewal = 5;

  // The callbacks must not destroy the link.
  struct Callbacks {
    // hostapd answers and will send events. There are no events before.
    std::function<void()> on_up;
    // Called after on_up, when hostapd no longer answers.
    std::function<void()> on_down;
    std::function<void(std::string_view event)> on_event;
    // All pending events have been reported.
    std::function<void()> on_quiet;
  };

  // Starts at once. The loop must outlive the link.
  HostapdLink(platform::Loop& loop, platform::FilePath socket_path, Callbacks callbacks);
  HostapdLink(const HostapdLink&) = delete;
  HostapdLink& operator=(const HostapdLink&) = delete;
  // Detaches.
  ~HostapdLink();

  bool is_up() const { return is_up_; }

  // Reads the pending events.
  void ReadEvents();

  // Repeats the settings that hostapd has accepted, because a reload of its configuration resets
  // them. It does so once a second, too, because nothing reports a reload.
  void RenewSettings();

  // Sends a command of the bridge itself, on the events connection. Must be called only while the
  // link is up. `callback` does not run if the link goes down.
  void Ask(std::string command, HostapdChannel::AnswerCallback callback);

  // Forwards a command of a client, in order of calls. The rules of Ask apply.
  void Forward(std::string command, HostapdChannel::AnswerCallback callback);
  std::size_t forwarded_count() const;  // forwarded commands without an answer

  // The total number of answers without a command.
  std::uint64_t stray_count() const;

 private:
  void Look();
  void Connect();
  void LogConnectError(int error);
  std::unique_ptr<HostapdChannel> OpenChannel(HostapdChannel::Callbacks callbacks);
  void Attach(const std::string& command, bool is_last_try);
  void LogRefusal();
  void Prepare();
  void GoUp();
  void GoDown();
  void GoDownSoon();
  void Close();

  platform::Loop& loop_;
  platform::FilePath socket_path_;
  Callbacks callbacks_;
  std::optional<FileIdentity> identity_;  // of the socket; a restarted hostapd has a new one
  std::unique_ptr<HostapdChannel> events_;
  std::unique_ptr<HostapdChannel> commands_;
  bool is_attached_ = false;
  bool is_up_ = false;
  std::vector<const char*> accepted_settings_;
  bool is_renewing_ = false;
  // What the last attempts logged. An attempt logs only what is new.
  int connect_error_ = 0;
  bool is_refusal_logged_ = false;
  int looks_ = 0;
  std::uint64_t stray_count_ = 0;  // of closed channels
  platform::OneShotTimer look_timer_;
  platform::WeakPtrFactory<HostapdLink> weak_ptr_factory_{this};
};

}  // namespace orvane::bridge

#endif  // BRIDGE_HOSTAPD_LINK_H_
