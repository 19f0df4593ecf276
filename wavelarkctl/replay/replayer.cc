#include "wavelarkctl/replay/replayer.h"

#include <algorithm>
#include <utility>

namespace orvane::wavelarkctl {
namespace {

using platform::MonotonicTime;
using platform::TimeSpan;
using platform::WallTime;

constexpr TimeSpan kTick(1);
constexpr char kNl80211Family[] = "nl80211";

// Drops commands: the replay decides what a steered client does.
class SilentHostapd : public ap::HostapdInterface {
 public:
  using ap::HostapdInterface::HostapdInterface;
  void SendCommand(const std::string& /*interface*/, const std::string& /*command*/) override {}
};

Address ToAddress(const ap::MacAddress& mac_address) {
  Address address;
  std::ranges::copy(mac_address.ToByteString().AsSpan(), address.begin());
  return address;
}

}  // namespace

std::string_view ReturnsText(Returns returns) {
  switch (returns) {
    case Returns::kTrace:
      return "trace";
    case Returns::kSame:
      return "same";
    case Returns::kOther:
      return "other";
  }
  return "";
}

TimeSpan PollIntervalOf(const ReplayOptions& options) {
  return std::max(PolicyOf(options.settings).poll_interval, ap::ClientSteer::kShortestPollInterval);
}

// Makes the time of the next poll public, so that rows before it cost nothing.
class Replayer::Loop : public platform::ManualLoop {
 public:
  using platform::ManualLoop::NextDeadline;
};

// Calls `on_pass` at the start of each pass, which looks up the first interface.
class Replayer::Kernel : public simulation::FakeKernel {
 public:
  Kernel(const Roster& roster, std::function<void()> on_pass)
      : first_interface_(roster.interfaces().front()), on_pass_(std::move(on_pass)) {
    std::uint32_t index = 0;
    for (const std::string& interface : roster.interfaces()) {
      AddInterface(interface, ++index);
      stations_.push_back(&Stations(interface));
    }
  }

  std::uint32_t GetInterfaceIndex(const std::string& name) override {
    if (name == first_interface_) on_pass_();
    return FakeKernel::GetInterfaceIndex(name);
  }

  void Clear() {
    for (std::vector<Station>* stations : stations_) stations->clear();
    ForgetRequests();
  }
  void Add(std::uint32_t interface, const Station& station) {
    stations_[interface]->push_back(station);
  }

 private:
  const std::string& first_interface_;
  std::function<void()> on_pass_;
  std::vector<std::vector<Station>*> stations_;  // by interface
};

Replayer::Replayer(const ReplayOptions& options, Roster& roster, WallTime start,
                   ReplayListener* listener)
    : options_(options),
      floor_(LimitsOf(PolicyOf(options.settings)).lqm_floor),
      poll_interval_(PollIntervalOf(options)),
      roster_(roster),
      listener_(listener),
      loop_(std::make_unique<Loop>()),
      now_(start),
      kernel_(std::make_unique<Kernel>(roster, [this] { OnPass(); })),
      netlink_(std::make_unique<platform::NetlinkManager>(*kernel_)),
      hostapd_(std::make_unique<SilentHostapd>(*loop_)) {
  loop_->SetWallTime(start);
  netlink_->SetNl80211MessageType(netlink_->GetFamily(kNl80211Family));
  netlink_->Start(*loop_);
  steer_ = std::make_unique<ap::ClientSteer>(*loop_, netlink_.get(), roster.interfaces(),
                                             hostapd_.get(), PolicyOf(options.settings));
  steer_->SetObserver([this](const ap::StationJudgement& judgement) { OnJudgement(judgement); });
  if (options_.settings.enable_client_steering) steer_->Enable();
}

Replayer::~Replayer() = default;

void Replayer::Feed(const Sighting& sighting) {
  if (sighting.client >= clients_.size()) clients_.resize(sighting.client + 1);
  Client& client = clients_[sighting.client];
  if (client.sample != sample_) {
    const TimeSpan since_last_row = Now() - client.seen;
    const bool has_stayed = since_last_row <= options_.stale + poll_interval_;
    if (client.sample != 0) {
      EndStay(sighting.client, client, has_stayed ? since_last_row : options_.stale);
    }
    if (!has_stayed) client.override_interface.reset();
    client.sample = sample_;
    client.seen = Now();
    client.seen_wall = now_;
    client.places.clear();
  }
  const Place place = {client.override_interface.value_or(sighting.interface), sighting.signal,
                       sighting.is_authorized};
  const auto same = std::ranges::find(client.places, place.interface, &Place::interface);
  if (same == client.places.end()) {
    client.places.push_back(place);
  } else {
    *same = place;
  }
  if (!std::exchange(client.is_listed, true)) listed_.push_back(sighting.client);
}

void Replayer::Finish() {
  loop_->AdvanceBy(std::exchange(behind_, TimeSpan::zero()));
  for (std::uint32_t number = 0; number < clients_.size(); ++number) {
    Client& client = clients_[number];
    const TimeSpan since_last_row = Now() - client.seen;
    if (client.sample != 0) EndStay(number, client, std::min(since_last_row, options_.stale));
  }
}

void Replayer::MoveTo(WallTime time) {
  if (time == now_) return;
  ++sample_;
  TimeSpan span = time - std::exchange(now_, time);
  if (span < TimeSpan::zero()) {
    loop_->AdvanceBy(std::exchange(behind_, TimeSpan::zero()));
    loop_->SetWallTime(time);
    return;
  }
  span = SkipIdlePolls(span);
  RunUntil(Now() + span);
}

MonotonicTime Replayer::Now() const { return loop_->MonotonicNow() + behind_; }

void Replayer::RunUntil(MonotonicTime time) {
  const std::optional<MonotonicTime> next_poll = loop_->NextDeadline();
  if (next_poll && *next_poll < time) {
    loop_->AdvanceBy(time - kTick - loop_->MonotonicNow());
  }
  behind_ = time - loop_->MonotonicNow();
}

// Once all clients are stale, polls see no client and only make the service forget clients. The
// last of these polls forgets all that the earlier ones would have, so the earlier ones can be
// skipped.
TimeSpan Replayer::SkipIdlePolls(TimeSpan span) {
  const TimeSpan idle_after = options_.stale + poll_interval_;
  const std::int64_t idle_polls = (span - idle_after) / poll_interval_ - 1;
  if (idle_polls <= 0) return span;
  RunUntil(Now() + idle_after);
  loop_->SetWallTime(loop_->Now() + idle_polls * poll_interval_);
  if (options_.settings.enable_client_steering) polls_ += static_cast<std::uint64_t>(idle_polls);
  return span - idle_after - idle_polls * poll_interval_;
}

void Replayer::EndStay(std::uint32_t number, Client& client, TimeSpan length) {
  for (const Place& place : client.places) {
    if (!place.is_authorized) continue;
    const std::uint8_t metric = ap::LinkQualityMetric(place.signal.value_or(0));
    listener_->OnStay({number, place.interface, metric, metric < floor_, client.seen_wall, length});
  }
}

// Makes the kernel list the latest row of each client.
void Replayer::OnPass() {
  ++polls_;
  kernel_->Clear();
  const MonotonicTime oldest = loop_->MonotonicNow() - options_.stale;
  std::erase_if(listed_, [&](std::uint32_t number) {
    Client& client = clients_[number];
    client.is_listed = client.seen >= oldest;
    if (!client.is_listed) return true;
    for (const Place& place : client.places) {
      simulation::FakeKernel::Station station;
      station.has_statistics = false;
      station.address = roster_.clients()[number];
      station.signal_average = place.signal;
      station.flags = place.is_authorized ? station.flags : 0;
      kernel_->Add(place.interface, station);
    }
    return false;
  });
}

void Replayer::OnJudgement(const ap::StationJudgement& judgement) {
  const std::uint32_t number = roster_.ClientNumber(ToAddress(judgement.mac_address));
  listener_->OnJudgement(loop_->Now(), number, judgement);
  if (judgement.verdict == ap::SteerVerdict::kSteered) {
    MoveSteered(clients_[number], roster_.InterfaceNumber(judgement.interface));
  }
}

void Replayer::MoveSteered(Client& client, std::uint32_t interface) const {
  const auto count = static_cast<std::uint32_t>(roster_.interfaces().size());
  switch (options_.returns) {
    case Returns::kTrace:
      return;
    case Returns::kSame:
      client.override_interface = interface;
      break;
    case Returns::kOther:
      client.override_interface = (interface + 1) % count;
      break;
  }
  // The rows of this sample move, too, so that the next poll sees the client at its new interface.
  // `places` has the interface, because a pass steers a client at most once: at a second interface
  // the client is new.
  Place place = *std::ranges::find(client.places, interface, &Place::interface);
  place.interface = *client.override_interface;
  client.places.assign(1, place);
}

}  // namespace orvane::wavelarkctl
