#ifndef TESTS_SOAK_RADIO_H_
#define TESTS_SOAK_RADIO_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "testbed/hostapd.h"

namespace orvane::soak {

// hostapd's part of one interface, which comes, goes and hangs. It is up once the daemon is
// attached for sure: what is done to it while an attempt to attach is under way may end the daemon,
// which takes two notices in quick succession for a mistake.
class Radio {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Radio(std::string name) : name_(std::move(name)) {}

  const std::string& name() const { return name_; }
  bool is_up() const { return state_ == State::kUp; }
  bool is_down() const { return state_ == State::kDown; }
  // Nothing waits in the daemon's queue.
  bool is_taken() const { return !hostapd_ || hostapd_->IsTaken(); }
  // The number of the last line that the daemon has taken.
  std::uint64_t last_taken() const { return last_taken_; }

  void Start();
  // In the middle of whatever goes on.
  void Kill();
  // Once all that was sent has been taken.
  void Stop(std::function<void()> on_stopped);
  // It neither reads, answers nor tells anything until it is woken up.
  void Silence() { state_ = State::kSilent; }
  void WakeUp() { state_ = State::kStarting; }

  // Has a turn. What comes in and isn't about attaching is told.
  void Serve(const std::function<void(std::string_view command)>& on_command);

  // To be called while it is up. False when it can't be sent.
  bool Send(std::uint64_t number, std::string_view line);

 private:
  enum class State { kDown, kStarting, kUp, kSilent, kStopping };

  void OnCommand(std::string_view command,
                 const std::function<void(std::string_view command)>& on_command);

  std::string name_;
  State state_ = State::kDown;
  std::unique_ptr<testbed::Hostapd> hostapd_;
  bool is_attached_ = false;
  Clock::time_point up_at_{};  // unless another attempt to attach comes in
  std::uint64_t last_sent_ = 0;
  std::uint64_t last_taken_ = 0;
  std::function<void()> on_stopped_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_RADIO_H_
