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

// A connection to a control socket of hostapd, for commands, their answers, and events.
//
// Commands are sent one at a time: each waits for the answer to the previous one, so that every
// answer belongs to its command. Unexpected answers are counted.
class HostapdChannel : private platform::FdWatcher {
 public:
  // Maximum time for an answer. Slow commands take about a second.
  static constexpr platform::TimeSpan kAnswerTimeout = std::chrono::seconds(5);
  // Delay between attempts to send while hostapd's queue is full.
  static constexpr platform::TimeSpan kRetryDelay = std::chrono::milliseconds(20);

  using AnswerCallback = std::function<void(std::string_view answer)>;

  // None of the callbacks may destroy the channel.
  struct Callbacks {
    std::function<void(std::string_view event)> on_event;
    // All pending datagrams have been read.
    std::function<void()> on_quiet;
    // hostapd does not answer or is gone. The channel is unusable from now on.
    std::function<void()> on_lost;
  };

  // The loop must outlive the channel.
  HostapdChannel(platform::Loop& loop, Callbacks callbacks);
  HostapdChannel(const HostapdChannel&) = delete;
  HostapdChannel& operator=(const HostapdChannel&) = delete;

  // Connects to a socket. Returns false, with errno set, on failure. Must be called once.
  bool Open(const platform::FilePath& path);

  // Sends a command. `callback` does not run if the channel is lost.
  void Request(std::string command, AnswerCallback callback);

  // Sends a command without blocking and ignores its answer.
  void SendOnly(std::string_view command);

  // The number of commands without an answer.
  std::size_t waiting_count() const { return requests_.size(); }

  // Reads all pending datagrams, without waiting for the loop.
  void ReadAll();

  // The number of answers without a command.
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
