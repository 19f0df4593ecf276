#include "wavelarkctl/trace/trace_recorder.h"

#include <algorithm>
#include <utility>

#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {

Address Pseudonyms::For(const Address& address) {
  constexpr std::uint8_t kLocallyAdministered = 2;
  const std::uint32_t number =
      numbers_.try_emplace(address, static_cast<std::uint32_t>(numbers_.size() + 1)).first->second;
  return {kLocallyAdministered,
          0,
          static_cast<std::uint8_t>(number >> 24),
          static_cast<std::uint8_t>(number >> 16),
          static_cast<std::uint8_t>(number >> 8),
          static_cast<std::uint8_t>(number)};
}

TraceRecorder::TraceRecorder(platform::Loop& loop, platform::NetlinkManager* netlink,
                             Options options, TraceWriter* writer, WarningCallback on_warning,
                             FailureCallback on_failure)
    : loop_(loop),
      netlink_(netlink),
      options_(std::move(options)),
      writer_(writer),
      on_warning_(std::move(on_warning)),
      on_failure_(std::move(on_failure)),
      timer_(loop) {}

void TraceRecorder::Start() { OnTimer(); }

// Re-arms the timer first, so that samples start at equal distances, however long they take.
void TraceRecorder::OnTimer() {
  timer_.Start(options_.every,
               platform::BindWeak(weak_ptr_factory_.GetWeakPtr(), &TraceRecorder::OnTimer));
  if (std::exchange(is_sampling_, true)) return;
  sample_time_ = loop_.Now();
  cursor_ = 0;
  AskNext();
}

void TraceRecorder::AskNext() {
  const platform::WeakPtr<TraceRecorder> weak = weak_ptr_factory_.GetWeakPtr();
  for (; cursor_ < options_.interfaces.size(); ++cursor_) {
    const std::string& interface = options_.interfaces[cursor_];
    if (nl80211_.GetStations(interface, netlink_,
                             platform::BindWeak(weak, &TraceRecorder::OnStation),
                             platform::BindWeak(weak, &TraceRecorder::OnComplete))) {
      return;
    }
    Warn(interface, "no such interface");
  }
  EndSample();
}

// The view returns 0 dBm for a missing signal.
void TraceRecorder::OnStation(const ap::Nl80211Station& station) {
  Address address;
  const ap::MacAddress mac_address = station.GetMacAddress();
  std::ranges::copy(mac_address.ToByteString().AsSpan(), address.begin());
  const std::int8_t signal = station.GetSignalAverage();
  writer_->Add({.time = sample_time_,
                .interface = options_.interfaces[cursor_],
                .address = options_.is_anonymous ? pseudonyms_.For(address) : address,
                .signal = signal == 0 ? std::nullopt : std::optional(signal),
                .is_authorized = station.IsAuthorized()});
}

void TraceRecorder::OnComplete(const ap::Nl80211Error* error) {
  const std::string& interface = options_.interfaces[cursor_];
  if (error != nullptr) {
    Warn(interface, error->message);
  } else {
    failing_.erase(interface);
  }
  ++cursor_;
  AskNext();
}

void TraceRecorder::EndSample() {
  is_sampling_ = false;
  try {
    writer_->Flush();
  } catch (const Failure&) {
    timer_.Stop();
    on_failure_(std::current_exception());
  }
}

void TraceRecorder::Warn(const std::string& interface, const std::string& problem) {
  if (failing_.insert(interface).second) on_warning_(interface + ": " + problem);
}

}  // namespace orvane::wavelarkctl
