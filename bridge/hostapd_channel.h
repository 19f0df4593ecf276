#ifndef BRIDGE_HOSTAPD_CHANNEL_H_
#define BRIDGE_HOSTAPD_CHANNEL_H_

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "platform/loop.h"
#include "platform/one_shot_timer.h"

namespace orvane::bridge {

// A connection to a control socket of hostapd: commands, their answers, and events.
//
// Commands are sent one at a time, each when the one before it is answered, so that every answer
// belongs to its command. An answer that nobody waits for is counted.
class HostapdChannel : private platform::FdWatcher {
 public:
  // How long hostapd may take for a command. Those of long duration take about a second.
  static constexpr platform::TimeSpan kAnswerTimeout = std::chrono::seconds(5);
  // Between attempts to send to a hostapd whose queue is full.
  static constexpr platform::TimeSpan kRetryDelay = std::chrono::milliseconds(20);

  using AnswerCallback = std::function<void(std::string_view answer)>;

  // None of the callbacks may destroy the channel.
  struct Callbacks {
    std::function<void(std::string_view event)> on_event;
    // Everything that had come has been read.
    std::function<void()> on_quiet;
    // hostapd doesn't answer, or is gone. The channel is of no use any more.
    std::function<void()> on_lost;
  };

  // The loop must outlive the channel.
  HostapdChannel(platform::Loop& loop, Callbacks callbacks);
  HostapdChannel(const HostapdChannel&) = delete;
  HostapdChannel& operator=(const HostapdChannel&) = delete;

  // Connects to a socket. False, with errno, if nobody is there. To be called once.
  bool Open(const platform::FilePath& path);

  // The callback is not run if the channel is lost.
  void Request(std::string command, AnswerCallback callback);

  // Sends a command whose answer does not matter, without waiting for anything.
  void SendOnly(std::string_view command);

  // Commands without an answer so far.
  std::size_t waiting_count() const { return requests_.size(); }

  // Reads what has come, without waiting for the loop to find it.
  void ReadAll();

  // Answers that nobody waited for.
  std::uint64_t stray_count() const { return stray_count_; }

 private:
  struct PendingRequest {
    std::string command;
    AnswerCallback callback;
  };

  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}

  bool ReadOne();
  void OnDatagram(std::string_view datagram);
  void SendFirst();
  void OnTimeout();
  void Lose();

  platform::Loop& loop_;
  Callbacks callbacks_;
  platform::ScopedFd fd_;
  std::unique_ptr<platform::FdWatch> watch_;
  std::deque<PendingRequest> requests_;
  bool is_first_sent_ = false;
  bool is_lost_ = false;
  platform::OneShotTimer timeout_;
  platform::OneShotTimer retry_;
  std::unique_ptr<char[]> buffer_;
  std::uint64_t stray_count_ = 0;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_HOSTAPD_CHANNEL_H_
