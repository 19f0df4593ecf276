#include <benchmark/benchmark.h>
#include <linux/genetlink.h>
#include <linux/nl80211.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_loop.h"
#include "bench/compare.h"
#include "bench/rows.h"
#include "bench/station_floor.h"
#include "optimizer/client_steer.h"
#include "platform/logging.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/netlink/testing/nl80211_records.h"

namespace orvane::bench {
namespace {

using platform::FakeKernel;
using Datagram = std::vector<std::uint8_t>;

constexpr std::uint32_t kPort = 4711;
constexpr std::uint16_t kFamily = 0x1c;
constexpr char kInterface[] = "wlan-2400mhz";
// What the kernel makes of a dump, once it has seen a large buffer.
constexpr std::size_t kPartSize = 32 * 1024;
// A piece is never less than this, so that reading the clock doesn't count.
constexpr std::size_t kStationsPerPiece = 2000;

FakeKernel::Station MakeStation(const FakeKernel::Address& address) {
  FakeKernel::Station station;
  station.address = address;
  for (FakeKernel::Rate* rate : {&station.tx_rate, &station.rx_rate}) {
    rate->vht_mcs = 9;
    rate->vht_nss = 2;
    rate->flags = {NL80211_RATE_INFO_80_MHZ_WIDTH, NL80211_RATE_INFO_SHORT_GI};
  }
  return station;
}

// The parts of a dump of so many stations, in an order that is not the one of their addresses.
std::vector<Datagram> MakeDump(std::size_t count, std::uint32_t sequence) {
  std::mt19937 random(1);
  std::vector<Datagram> parts(1);
  for (std::size_t i = 0; i < count; ++i) {
    const auto bits = static_cast<std::uint32_t>(random());
    FakeKernel::Address address = {0x02, static_cast<std::uint8_t>(i >> 16)};
    std::memcpy(address.data() + 2, &bits, sizeof(bits));
    const std::vector<std::uint8_t> message = platform::MakeGenericMessage(
        {.type = kFamily, .flags = NLM_F_MULTI, .sequence = sequence, .port = kPort},
        NL80211_CMD_NEW_STATION, platform::MakeStationRecord(1, MakeStation(address)));
    if (parts.back().size() + message.size() > kPartSize) parts.emplace_back();
    parts.back().insert(parts.back().end(), message.begin(), message.end());
  }
  return parts;
}

// A kernel that has its answers ready: it costs a copy, as receiving does, but no system call.
class ReadyTransport : public platform::NetlinkTransport {
 public:
  bool Open() override { return true; }
  int fd() const override { return 0; }
  std::uint32_t port() const override { return kPort; }
  bool Send(std::span<const std::uint8_t> datagram) override {
    nlmsghdr header;
    std::memcpy(&header, datagram.data(), sizeof(header));
    last_sequence_ = header.nlmsg_seq;
    return true;
  }
  platform::ReceiveResult Receive(std::span<std::uint8_t> buffer) override {
    if (next_ == parts_->size()) return {platform::ReceiveStatus::kNothing};
    const Datagram& part = (*parts_)[next_++];
    std::copy(part.begin(), part.end(), buffer.begin());
    return {platform::ReceiveStatus::kDatagram, part.size()};
  }
  std::uint32_t GetInterfaceIndex(const std::string& /*name*/) override { return 1; }

  void Deliver(const std::vector<Datagram>* parts) {
    parts_ = parts;
    next_ = 0;
  }
  bool HasMore() const { return next_ < parts_->size(); }
  std::uint32_t last_sequence() const { return last_sequence_; }

 private:
  const std::vector<Datagram>* parts_ = nullptr;
  std::size_t next_ = 0;
  std::uint32_t last_sequence_ = 0;
};

// The steering service in the middle of a dump that never ends.
class SteerUnderDump {
 public:
  SteerUnderDump()
      : steer_(loop_, &manager_, {kInterface}, &hostapd_,
               {.steer_interval = std::chrono::minutes(10),
                .poll_interval = std::chrono::minutes(1),
                .lqm_hysteresis = 15,
                .is_root = true,
                .root_lqm_floor = 30,
                .child_lqm_floor = 40}) {
    CHECK(manager_.Init());
    manager_.SetNl80211MessageType(kFamily);
    manager_.Start(loop_);
    steer_.Enable();
    loop_.AdvanceBy(std::chrono::minutes(1));
  }
  ~SteerUnderDump() { manager_.Stop(); }

  std::uint32_t sequence() const { return transport_->last_sequence(); }

  void Take(const std::vector<Datagram>& parts) {
    transport_->Deliver(&parts);
    while (transport_->HasMore()) loop_.watcher()->OnReadReady(transport_->fd());
  }

 private:
  BenchLoop loop_;
  ReadyTransport* transport_ = new ReadyTransport;  // the manager's
  platform::NetlinkManager manager_{std::unique_ptr<platform::NetlinkTransport>(transport_)};
  ap::HostapdInterface hostapd_{loop_};
  ap::ClientSteer steer_;
};

template <std::size_t count>
Measured MeasureStations() {
  constexpr std::size_t kDumps = std::max<std::size_t>(kStationsPerPiece / count, 1);
  SteerUnderDump steer;
  const std::vector<Datagram> parts = MakeDump(count, steer.sequence());
  const Piece ours = [&] {
    return CpuTimeOfWork([&] {
      for (std::size_t i = 0; i < kDumps; ++i) steer.Take(parts);
    });
  };
  StationFloor station_floor;
  Datagram buffer(2 * kPartSize);
  const Piece floor = [&] {
    const std::int64_t time = CpuTimeOfWork([&] {
      for (std::size_t i = 0; i < kDumps; ++i) {
        for (const Datagram& part : parts) {
          std::copy(part.begin(), part.end(), buffer.begin());
          station_floor.Take({buffer.data(), part.size()});
        }
      }
    });
    benchmark::DoNotOptimize(station_floor.poor());
    return time;
  };
  return Compare(ours, floor, static_cast<double>(count * kDumps));
}

template <std::size_t count>
Row StationRow() {
  return {.name = "stations_" + std::to_string(count),
          .what = "a station of a dump of " + std::to_string(count) + ", read and decided",
          .unit = "ns",
          .reach = 2.5,
          .measure = MeasureStations<count>};
}

}  // namespace

std::vector<Row> StationRows() {
  return {StationRow<1>(), StationRow<100>(), StationRow<10'000>(), StationRow<100'000>()};
}

}  // namespace orvane::bench
