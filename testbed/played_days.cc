#include "testbed/played_days.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <random>
#include <utility>

#include "platform/error.h"
#include "platform/logging.h"
#include "recorder/record_store.h"

namespace orvane::testbed {
namespace {

namespace proto = access_infrastructure::proto;
using Info = proto::ClientEventInfo;

constexpr char kEventType[] = "type.velmora.org/access_infrastructure.proto.Event";
constexpr std::int64_t kUploadPeriodMs = 300'000;
constexpr std::int64_t kDayMs = 86'400'000;
constexpr int kWeakSignal = -74;
constexpr std::int64_t kNever = -1'000'000'000'000;

std::int64_t Milliseconds(platform::WallTime time) {
  return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

// The distributions of the standard library differ between implementations.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}

  // Returns a number from 0 to less than 1.
  double Roll() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }
  bool Chance(double probability) { return Roll() < probability; }
  double Between(double from, double to) { return from + Roll() * (to - from); }
  int Whole(int from, int to) { return static_cast<int>(std::floor(Between(from, to + 1))); }
  double Exponential(double mean) { return -mean * std::log(1 - Roll()); }

  template <typename T, std::size_t size>
  T Pick(const std::array<std::pair<T, double>, size>& weighted) {
    double left = Roll();
    for (const auto& [value, weight] : weighted) {
      if ((left -= weight) < 0) return value;
    }
    return weighted.front().first;
  }

 private:
  std::mt19937_64 engine_;
};

constexpr auto kReasonsToLeave = std::to_array<std::pair<Info::ClientEventReason, double>>(
    {{Info::DISCONNECT_DEAUTH_CLI, 0.46},
     {Info::DISCONNECT_DISASSOC_CLI, 0.18},
     {Info::DISCONNECT_INACTIVITY, 0.13},
     {Info::DISCONNECT_ASSOC_OTHER_BSS, 0.11},
     {Info::DISCONNECT_LOW_ACK, 0.07},
     {Info::REASON_BSS_TM_REQ_CLI, 0.03},
     {Info::DISCONNECT_GTK_M1_TIMEOUT, 0.02}});

struct Client {
  std::string id;
  double signal_5ghz;       // dBm, typical; 2.4 GHz is stronger
  double restlessness = 0;  // probability of an immediate return
  double failing = 0.02;    // probability that a join fails
  Info::ClientEventReason failure = Info::DISCONNECT_EAPOL_M3_TIMEOUT;
};

class Player {
 public:
  explicit Player(const PlayedDays& plan)
      : plan_(plan), end_(Milliseconds(plan.end)), dice_(plan.seed) {}

  std::vector<PlayedEvent> Play() {
    for (int i = 0; i < plan_.clients; ++i) PlayClient(MakeClient(i));
    std::ranges::stable_sort(events_, {}, [](const PlayedEvent& event) {
      return event.info.event_time_in_milliseconds();
    });
    return std::move(events_);
  }

 private:
  Client MakeClient(int number) {
    Client client = {.id = "", .signal_5ghz = dice_.Between(-76, -45)};
    for (int i = 0; i < 8; ++i) {
      client.id += fmt::format("{:08X}", static_cast<std::uint32_t>(dice_.Roll() * 0x1p32));
    }
    if (number % 20 == 1) client.restlessness = 0.55;
    if (number % 30 == 2) {
      client.failing = 0.6;
      client.failure = Info::DISCONNECT_PSK_MISMATCH;
    }
    if (number % 30 == 3) {
      client.failing = 0.3;
      client.failure = Info::NO_ACK;
    }
    return client;
  }

  void PlayClient(const Client& client) {
    for (int day = 0; day < plan_.days; ++day) {
      const std::int64_t midnight = end_ - (plan_.days - day) * kDayMs;
      const int visits = dice_.Whole(static_cast<int>(plan_.visits_per_day * 0.5),
                                     static_cast<int>(plan_.visits_per_day * 1.5));
      std::vector<double> hours;
      // Most visits are by day: the sum of two rolls has its peak in the middle.
      for (int i = 0; i < visits; ++i) hours.push_back(dice_.Between(3, 12) + dice_.Between(3, 12));
      std::ranges::sort(hours);
      for (const double hour : hours) {
        now_ = std::max(now_of_client_, midnight + static_cast<std::int64_t>(hour * 3'600'000));
        steered_at_ = kNever;
        Visit(client);
        now_of_client_ = now_ + 1000;
      }
    }
    now_of_client_ = 0;
  }

  // Adds one visit and those that follow at once.
  void Visit(const Client& client) {
    bool is_5ghz = dice_.Chance(client.signal_5ghz > -66 ? 0.85 : 0.5);
    for (int round = 0; round < 6; ++round) {
      if (!Join(client, is_5ghz)) {
        now_ += dice_.Whole(500, 4000);
        continue;
      }
      if (!Stay(client, is_5ghz) && !dice_.Chance(client.restlessness)) return;
      now_ += dice_.Whole(400, dice_.Chance(0.1) ? 90'000 : 6000);
      if (dice_.Chance(0.8)) is_5ghz = !is_5ghz;
    }
  }

  double SignalAt(const Client& client, bool is_5ghz) {
    return client.signal_5ghz + (is_5ghz ? 0 : 7) + dice_.Between(-5, 5);
  }

  Info* Add(const Client& client, bool is_5ghz, Info::ClientEventType type) {
    Info* info = &events_.emplace_back().info;
    events_.back().interface = is_5ghz ? proto::WLAN_5000MHZ : proto::WLAN_2400MHZ;
    info->set_client_shmac(client.id);
    info->set_event_time_in_milliseconds(static_cast<std::uint64_t>(now_));
    info->set_event_type(type);
    return info;
  }

  void SetSteering(Info* info) {
    if (now_ - steered_at_ > 10'000) return;
    info->set_steering_reason(Info::STEER);
    info->set_steer_delta_in_milliseconds(static_cast<std::uint64_t>(now_ - steered_at_));
  }

  void SetStation(Info* info, double signal, bool is_5ghz) {
    info->set_average_rssi_in_dbm(static_cast<int>(signal));
    info->set_rssi_in_dbm(static_cast<int>(signal + dice_.Between(-2, 2)));
    auto* rate = info->mutable_data_rate();
    const int mcs = std::clamp(static_cast<int>((signal + 82) / 4), 0, 9);
    rate->set_bitrate_kbps((is_5ghz ? 65'000 : 14'400) * (mcs + 1));
    rate->set_bandwidth_mhz(is_5ghz ? 80 : 20);
    rate->set_mcs_index(mcs);
    rate->set_number_of_spatial_streams(2);
    rate->set_is_long_guard_interval(false);
  }

  bool Request(const Client& client, bool is_5ghz, Info::ClientEventType type, bool is_success) {
    Info* info = Add(client, is_5ghz, type);
    info->set_is_event_success(is_success);
    info->set_frame_status_code(0);
    info->set_event_frame_rssi_in_dbm(static_cast<int>(SignalAt(client, is_5ghz)));
    info->set_probe_delta_in_milliseconds(static_cast<std::uint64_t>(dice_.Whole(50, 2000)));
    if (!is_success) info->set_event_reason(Info::NO_ACK);
    SetSteering(info);
    now_ += dice_.Whole(8, 60);
    return is_success;
  }

  bool Join(const Client& client, bool is_5ghz) {
    const bool has_failure = dice_.Chance(client.failing);
    const bool is_no_ack = has_failure && client.failure == Info::NO_ACK;
    if (!Request(client, is_5ghz, Info::AUTHENTICATE, !is_no_ack)) return false;
    if (dice_.Chance(0.04)) now_ += dice_.Whole(800, 3000);
    Request(client, is_5ghz, Info::ASSOCIATE, true);
    now_ += dice_.Chance(0.05) ? dice_.Whole(1500, 5000) : dice_.Whole(60, 900);
    Info* info = Add(client, is_5ghz, Info::CONNECT);
    info->set_is_event_success(!has_failure);
    if (has_failure) {
      info->set_event_reason(client.failure);
      return false;
    }
    SetStation(info, SignalAt(client, is_5ghz), is_5ghz);
    SetSteering(info);
    return true;
  }

  // Adds a stay. Returns whether it ends by a steer.
  bool Stay(const Client& client, bool is_5ghz) {
    const double signal = SignalAt(client, is_5ghz) - dice_.Between(0, 8);
    const bool is_steered = signal < kWeakSignal && dice_.Chance(0.6);
    now_ += static_cast<std::int64_t>(
        is_steered ? dice_.Between(120'000, 900'000)
                   : dice_.Exponential(client.restlessness > 0 ? 90'000 : 2'400'000));
    Info* info = Add(client, is_5ghz, Info::DISCONNECT);
    SetStation(info, signal, is_5ghz);
    if (is_steered) {
      info->set_steering_reason(Info::STEER);
      steered_at_ = now_;
    } else if (dice_.Chance(0.97)) {
      info->set_event_reason(dice_.Pick(kReasonsToLeave));
    }
    return is_steered;
  }

  PlayedDays plan_;
  std::int64_t end_;
  Dice dice_;
  std::int64_t now_ = 0;
  std::int64_t now_of_client_ = 0;
  std::int64_t steered_at_ = kNever;
  std::vector<PlayedEvent> events_;
};

void StoreRecord(const proto::Event& event, std::int64_t received_ms,
                 recorder::RecordStore* store) {
  const std::string bytes = event.SerializeAsString();
  std::unique_ptr<platform::Error> error;
  CHECK(store->AddData({.type = kEventType,
                        .data = {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()},
                        .received_ms = received_ms},
                       &error))
      << error->message();
}

}  // namespace

void StoreEvents(const std::vector<PlayedEvent>& events, const platform::FilePath& database) {
  recorder::RecordStore store({.path = database, .max_size = std::int64_t{1} << 40});
  std::unique_ptr<platform::Error> error;
  CHECK(store.Open(&error)) << error->message();
  std::map<std::pair<std::int64_t, proto::WifiInterface>, proto::Event> batches;
  for (const PlayedEvent& event : events) {
    const auto time = static_cast<std::int64_t>(event.info.event_time_in_milliseconds());
    proto::Event& batch = batches[{time / kUploadPeriodMs, event.interface}];
    batch.set_interface(event.interface);
    *batch.add_client_event_info() = event.info;
  }
  for (const auto& [key, batch] : batches) {
    StoreRecord(batch, (key.first + 1) * kUploadPeriodMs, &store);
  }
}

std::vector<PlayedEvent> PlayDays(const PlayedDays& plan) { return Player(plan).Play(); }

}  // namespace orvane::testbed
