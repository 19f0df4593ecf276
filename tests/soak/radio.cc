#include "tests/soak/radio.h"

#include <utility>

namespace orvane::soak {
namespace {

using SendResult = testbed::ControlSocket::SendResult;

// After a failed attempt to attach the next one follows within this time.
constexpr std::chrono::milliseconds kAttachRetry(700);

}  // namespace

void Radio::Start() {
  hostapd_ = std::make_unique<testbed::Hostapd>(name_);
  state_ = State::kStarting;
  is_attached_ = false;
}

void Radio::Kill() {
  testbed::Hostapd::Kill(std::move(hostapd_));
  state_ = State::kDown;
}

void Radio::Stop(std::function<void()> on_stopped) {
  on_stopped_ = std::move(on_stopped);
  state_ = State::kStopping;
}

void Radio::Serve(const std::function<void(std::string_view command)>& on_command) {
  if (!hostapd_ || state_ == State::kSilent) return;
  while (const auto command = hostapd_->Receive()) OnCommand(*command, on_command);
  if (!is_taken()) return;
  last_taken_ = last_sent_;
  if (state_ == State::kStopping) {
    hostapd_.reset();
    state_ = State::kDown;
    on_stopped_();
  } else if (state_ == State::kStarting && is_attached_ && Clock::now() >= up_at_) {
    state_ = State::kUp;
  }
}

void Radio::OnCommand(std::string_view command,
                      const std::function<void(std::string_view command)>& on_command) {
  if (command != "ATTACH") return on_command(command);
  is_attached_ = hostapd_->TrySend("OK\n") == SendResult::kSent;
  up_at_ = Clock::now() + kAttachRetry;
  if (is_up()) state_ = State::kStarting;
}

bool Radio::Send(std::uint64_t number, std::string_view line) {
  if (hostapd_->TrySend(line) != SendResult::kSent) return false;
  last_sent_ = number;
  return true;
}

}  // namespace orvane::soak
