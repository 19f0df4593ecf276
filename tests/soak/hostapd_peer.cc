#include "tests/soak/hostapd_peer.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>

#include "platform/files.h"

namespace orvane::soak {
namespace {

using namespace std::chrono_literals;

// A send blocks when about ten lines are unread.
constexpr int kLinesPerTurn = 8;
constexpr int kBurst = 1000;

constexpr char kUnknown[] = "Received unknown event: SOAK-UNKNOWN";

}  // namespace

void HostapdPeer::Start() {
  for (Radio& radio : radios_) StartRadio(radio);
}

void HostapdPeer::Stop() {
  for (Radio& radio : radios_) radio.Stop([] {});
}

void HostapdPeer::Trouble(std::size_t index) {
  Radio& radio = radios_[index];
  if (!radio.is_up()) return;
  course_.BeginOneOf({{34, [&] { Kill(index); }},
                      {33, [&] { StopAndStart(radio); }},
                      {33, [&] { Silence(radio); }}});
}

void HostapdPeer::Kill(std::size_t index) {
  course_.Count(kKilled);
  Radio& radio = radios_[index];
  course_.ledger.DoubtAfter(index, radio.last_taken());
  radio.Kill();
  StartLater(radio);
}

void HostapdPeer::StopAndStart(Radio& radio) {
  course_.Count("hostapd stopped and restarted");
  radio.Stop([this, &radio] { StartLater(radio); });
}

void HostapdPeer::Silence(Radio& radio) {
  course_.Count("hostapd hung");
  course_.log.Allow("ERROR", kSendFailed, 1);
  radio.Silence();
  course_.schedule.After({500ms, 4s}, [&radio] { radio.WakeUp(); });
}

// Sometimes it hangs at once.
void HostapdPeer::StartLater(Radio& radio) {
  course_.schedule.After({0ms, 3s}, [this, &radio] {
    StartRadio(radio);
    if (course_.schedule.Chance(20)) Silence(radio);
  });
}

void HostapdPeer::StartRadio(Radio& radio) {
  radio.Start();
  course_.log.Allow("ERROR", kSendFailed, 2);
  course_.log.Allow("ERROR", "Failed to connect: ", 1);
  course_.log.Allow("WARNING", "Could not attach to hostapd", 1);
  course_.log.Allow("WARNING", "Already attached, resetting state.", 1);
}

// Like a file system that is unmounted and mounted again; the directory keeps its identity.
void HostapdPeer::MoveDirectory() {
  if (!AreAll(&Radio::is_up)) return;
  course_.Count("control directory moved away and back");
  const auto move_away = [this] {
    if (!AreAll(&Radio::is_down)) return;  // the second radio does it
    const platform::FilePath aside = std::string(testbed::kControlDirectory) + ".aside";
    std::filesystem::rename(testbed::kControlDirectory, aside);
    course_.schedule.After({100ms, 2s}, [this, aside] {
      std::filesystem::rename(aside, testbed::kControlDirectory);
      for (Radio& radio : radios_) StartLater(radio);
    });
  };
  for (Radio& radio : radios_) radio.Stop(move_away);
}

void HostapdPeer::Burst(std::size_t index) {
  bursts_[index] = kBurst;
  course_.Count("bursts of events");
}

bool HostapdPeer::AreAll(bool (Radio::*is_so)() const) const {
  return std::ranges::all_of(radios_, [is_so](const Radio& radio) { return (radio.*is_so)(); });
}

void HostapdPeer::Serve() {
  for (Radio& radio : radios_) {
    radio.Serve([&](std::string_view command) { OnCommand(radio, command); });
  }
}

void HostapdPeer::OnCommand(const Radio& radio, std::string_view command) {
  if (command.starts_with("DISASSOCIATE ")) {
    --undelivered_;
    course_.Count("steer commands received");
  } else {
    course_.violations.push_back(fmt::format("{} received {}", radio.name(), command));
  }
}

void HostapdPeer::OnSteered() {
  ++undelivered_;
  course_.log.Allow("ERROR", kSendFailed, 1);
}

void HostapdPeer::SendLines(const FateOf& fate_of) {
  for (std::size_t index = 0; index < radios_.size(); ++index) {
    const Radio& radio = radios_[index];
    if (!radio.is_up() || !radio.is_taken()) continue;
    int& burst = bursts_[index];
    const int some = course_.schedule.Chance(8) ? course_.schedule.Random(1, 3) : 0;
    const int count = burst > 0 ? kLinesPerTurn : some;
    burst = std::max(burst - count, 0);
    for (int i = 0; i < count; ++i) SendLine(index, fate_of);
  }
}

void HostapdPeer::SendLine(std::size_t index, const FateOf& fate_of) {
  const EventLine line = lines_.Next(++last_number_);
  if (!radios_[index].Send(last_number_, line.text)) {
    course_.violations.push_back(fmt::format("{} failed to send", radios_[index].name()));
    return;
  }
  if (line.kind == LineKind::kUnknown) course_.log.Allow("INFO", kUnknown, 1);
  if (line.kind == LineKind::kConnection || line.kind == LineKind::kProbe) {
    course_.ledger.Sent(index, last_number_, fate_of(line.kind));
  }
}

}  // namespace orvane::soak
