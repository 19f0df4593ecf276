#include "testbed/event_day.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <string>
#include <string_view>

namespace orvane::testbed {
namespace {

using platform::TimeSpan;
using std::chrono::milliseconds;

constexpr milliseconds kVisitInterval(400);

constexpr std::array<std::string_view, 6> kStations = {
    "3c:28:6d:10:20:01", "a4:83:e7:10:20:02", "f0:18:98:10:20:03",
    "dc:a6:32:10:20:04", "00:1e:42:10:20:05", "8e:41:9a:10:20:06",
};

// The hardware address of the last station, which uses a random address.
constexpr std::string_view kKnownAs = " client_mac:8c:85:90:10:20:06";

// One visit for each way to leave. `status` is the status code of the association.
struct Departure {
  std::string_view reason;
  bool associated;
  int frame_status;
};
constexpr std::array<Departure, 20> kDepartures = {{
    {"from_client", true, 0},
    {"reject_steer", false, 17},
    {"deauth_cli", true, 0},
    {"failed_to_add", false, 1},
    {"no_ack", false, 1},
    {"disassoc_cli", true, 0},
    {"bss_tm_cli", true, 0},
    {"other_bss", true, 0},
    {"iapp_notify", true, 0},
    {"low_ack", true, 0},
    {"inactivity", true, 0},
    {"wpa_auth", true, 0},
    {"insufficient_entropy", true, 0},
    {"incorrect_rsn_ie", false, 40},
    {"setkey_failure", true, 0},
    {"eapol_m1_timeout", true, 0},
    {"eapol_m3_timeout", true, 0},
    {"gtk_m1_timeout", true, 0},
    {"psk_mismatch", true, 0},
    {"steer_client", true, 0},
}};

constexpr std::array<std::string_view, 9> kSteeringReasons = {
    "new-station", "reassoc",       "steered",          "target-interface", "deferred",
    "weak-signal", "non-candidate", "recently-steered", "by-hand",
};

constexpr std::array<std::string_view, 4> kModes = {"vht", "ht", "legacy", "he"};

constexpr std::array<std::string_view, 4> kRates = {
    " tx_rate_kbps:866700 tx_rate_bw:80 tx_rate_sgi:1 tx_rate_vht_mcs:9 tx_rate_vht_nss:2",
    " tx_rate_kbps:130000 tx_rate_mcs:15 tx_rate_bw:20 tx_rate_sgi:0",
    " tx_rate_kbps:292500 tx_rate_bw:80 tx_rate_sgi:0 tx_rate_vht_mcs:7 tx_rate_vht_nss:1",
    " tx_rate_kbps:54000",
};

template <typename Table>
auto Cycle(const Table& table, std::size_t index) {
  return table[index % table.size()];
}

// Writes the lines of one station's visit in order.
class Visit {
 public:
  Visit(std::size_t number, platform::WallTime start, std::vector<TimedLine>* lines)
      : number_(number),
        start_(start),
        lines_(lines),
        time_(kVisitInterval * static_cast<int>(number)),
        rssi_(-42 - static_cast<int>(number * 7 % 40)) {}

  void Write() {
    Arrive();
    Associate();
    if (departure_.associated) Connect();
    Leave();
  }

 private:
  void Arrive() {
    Say("AP-MONITOR-STA-INFO", fmt::format(" frame_rssi:{} nss:{} mode:{}", rssi_ - 4,
                                           number_ % 3 + 1, Cycle(kModes, number_)));
    Wait(40);
    Say("AP-STA-AUTH", fmt::format(" success:1 frame_rssi:{}", rssi_ - 1));
    Wait(5);
    Say("AP-STA-AUTH-RESP", " success:1 frame_status:0");
  }

  void Associate() {
    const std::string_view steering = Cycle(kSteeringReasons, number_);
    Wait(10);
    Say("AP-STA-ASSOC", fmt::format(" success:1 frame_rssi:{} probe_delta_ms:{} steering_reason:{}",
                                    rssi_, 55 + number_, steering));
    Say(steering == "steered" ? "AP-STA-STEERING" : "AP-STA-NO-STEERING", "");
    Wait(5);
    Say("AP-STA-ASSOC-RESP",
        fmt::format(" success:{} frame_status:{} steer_delta_ms:{}", departure_.associated ? 1 : 0,
                    departure_.frame_status, 1500 * number_));
  }

  void Connect() {
    Wait(20);
    Say("AP-STA-CONNECT",
        fmt::format("{} success:1 frame_rssi:{} avg_rssi:{} last_rx_rssi:{}{}{}", Timestamp(),
                    rssi_ + 1, rssi_, rssi_ - 2, Cycle(kRates, number_),
                    station_ == kStations.back() ? kKnownAs : ""));
    Wait(1);
    Say("AP-STA-CONNECTED", "");
    Say("AP-STA-TAXONOMY", " wifi4|probe:0,1,50,45,htcap:012c|assoc:0,1,48,45,htcap:012c");
  }

  void Leave() {
    Wait(200);
    Say("AP-STA-DISCONNECT",
        fmt::format("{} success:1 event_reason:{} avg_rssi:{} last_rx_rssi:{}{}", Timestamp(),
                    departure_.reason, rssi_ - 9, rssi_ - 11, Cycle(kRates, number_ + 1)));
    Say("AP-STA-DISCONNECTED", "");
  }

  void Wait(int pause_ms) { time_ += milliseconds(pause_ms); }

  // `attributes` begins with a space, or is empty.
  void Say(std::string_view name, std::string_view attributes) {
    lines_->push_back({.at = time_, .line = fmt::format("<3>{} {}{}", name, station_, attributes)});
  }

  std::string Timestamp() const {
    const auto now = std::chrono::floor<milliseconds>((start_ + time_).time_since_epoch());
    return fmt::format(" timestamp:{}", now.count());
  }

  std::size_t number_;
  platform::WallTime start_;
  std::vector<TimedLine>* lines_;
  TimeSpan time_;
  int rssi_;
  std::string_view station_ = Cycle(kStations, number_);
  Departure departure_ = kDepartures[number_];
};

}  // namespace

std::vector<TimedLine> EventDay(platform::WallTime start) {
  std::vector<TimedLine> lines;
  for (std::size_t number = 0; number < kDepartures.size(); ++number) {
    Visit(number, start, &lines).Write();
  }
  return lines;
}

}  // namespace orvane::testbed
