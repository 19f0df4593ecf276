#ifndef BRIDGE_HOSTAPD_LINK_H_
#define BRIDGE_HOSTAPD_LINK_H_

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "bridge/hostapd_channel.h"
#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"
#include "platform/weak_ptr.h"

namespace orvane::bridge {

// Keeps connected to the hostapd of one interface, for as long as it answers, and has it report
// what the bridge needs. Looks for it again and again while it isn't there: that also finds one
// whose directory appears later, and notices one that was killed, which leaves its socket behind.
class HostapdLink {
 public:
  // How often hostapd's socket is looked at.
  static constexpr platform::TimeSpan kLookInterval = std::chrono::milliseconds(200);
  // Every how many looks hostapd has to answer.
  static constexpr int kLooksPerPing = 5;

  // None of them may destroy the link.
  struct Callbacks {
    // hostapd answers and reports. Until then there are no events.
    std::function<void()> on_up;
    // After on_up: it does so no longer.
    std::function<void()> on_down;
    std::function<void(std::string_view event)> on_event;
    // All events that had come have been passed on.
    std::function<void()> on_quiet;
  };

  // Begins at once. The loop must outlive the link.
  HostapdLink(platform::Loop& loop, platform::FilePath socket_path, Callbacks callbacks);
  HostapdLink(const HostapdLink&) = delete;
  HostapdLink& operator=(const HostapdLink&) = delete;
  // Detaches.
  ~HostapdLink();

  bool is_up() const { return is_up_; }

  // Reads the events that have come.
  void ReadEvents();

  // A command of the bridge's own, beside the events. Only while it is up; no callback if it goes
  // down.
  void Ask(std::string command, HostapdChannel::AnswerCallback callback);

  // A command of somebody else, in order of calls. The same holds.
  void Forward(std::string command, HostapdChannel::AnswerCallback callback);
  std::size_t forwarded_count() const;  // without an answer so far

  // Answers to no command, since the beginning.
  std::uint64_t stray_count() const;

 private:
  // Which file the path led to: a hostapd that was replaced has another one.
  struct FileIdentity {
    dev_t device;
    ino_t inode;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
  };

  static std::optional<FileIdentity> Identify(const platform::FilePath& path);

  void Look();
  void Connect();
  std::unique_ptr<HostapdChannel> OpenChannel(HostapdChannel::Callbacks callbacks);
  void Attach(const std::string& command, bool is_last_try);
  void Prepare();
  void GoUp();
  void GoDown();
  void GoDownSoon();
  void Close();

  platform::Loop& loop_;
  platform::FilePath socket_path_;
  Callbacks callbacks_;
  std::optional<FileIdentity> identity_;
  std::unique_ptr<HostapdChannel> events_;
  std::unique_ptr<HostapdChannel> commands_;
  bool is_attached_ = false;
  bool is_up_ = false;
  int looks_ = 0;
  std::uint64_t stray_count_ = 0;  // of channels that are closed
  platform::OneShotTimer look_timer_;
  platform::WeakPtrFactory<HostapdLink> weak_ptr_factory_{this};
};

}  // namespace orvane::bridge

#endif  // BRIDGE_HOSTAPD_LINK_H_
