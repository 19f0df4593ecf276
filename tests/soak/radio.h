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

// A stand-in hostapd of one interface, which starts, ends and hangs. It is up only when the daemon
// is certainly attached, because the daemon aborts on two changes in quick succession.
class Radio {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Radio(std::string name) : name_(std::move(name)) {}

  const std::string& name() const { return name_; }
  bool is_up() const { return state_ == State::kUp; }
  bool is_down() const { return state_ == State::kDown; }
  // Returns whether the daemon has read everything.
  bool is_taken() const { return !hostapd_ || hostapd_->IsTaken(); }
  // The number of the last line that the daemon has read.
  std::uint64_t last_taken() const { return last_taken_; }

  void Start();
  // Ends hostapd at once.
  void Kill();
  // Ends hostapd when the daemon has read everything.
  void Stop(std::function<void()> on_stopped);
  // Neither receives nor sends until WakeUp.
  void Silence() { state_ = State::kSilent; }
  void WakeUp() { state_ = State::kStarting; }

  // Runs regularly. Calls `on_command` for commands other than ATTACH.
  void Serve(const std::function<void(std::string_view command)>& on_command);

  // Must be called while it is up. Returns false if the line can't be sent.
  bool Send(std::uint64_t number, std::string_view line);

 private:
  enum class State { kDown, kStarting, kUp, kSilent, kStopping };

  void OnCommand(std::string_view command,
                 const std::function<void(std::string_view command)>& on_command);

  std::string name_;
  State state_ = State::kDown;
  std::unique_ptr<testbed::Hostapd> hostapd_;
  bool is_attached_ = false;
  Clock::time_point up_at_{};  // when it counts as up, unless another ATTACH arrives
  std::uint64_t last_sent_ = 0;
  std::uint64_t last_taken_ = 0;
  std::function<void()> on_stopped_;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_RADIO_H_
