#include "bench/steer_under_dump.h"

#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <span>

#include "platform/netlink/netlink_kernel.h"
#include "platform/netlink/netlink_socket.h"
#include "simulation/nl80211_records.h"

namespace orvane::bench {

using simulation::FakeKernel;

namespace {

constexpr std::uint32_t kPort = 4711;
constexpr std::uint16_t kFamily = 0x1c;
constexpr char kInterface[] = "wlan-2400mhz";
constexpr std::chrono::minutes kPollInterval(1);

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

}  // namespace

// Its only socket has the parts ready. Receiving one costs a copy, but no system call.
class SteerUnderDump::ReadyKernel : public platform::NetlinkKernel {
 public:
  std::unique_ptr<platform::NetlinkSocket> OpenSocket() override {
    return std::make_unique<Socket>(this);
  }
  std::uint32_t GetInterfaceIndex(const std::string& /*name*/) override { return 1; }

  void Deliver(const std::vector<Datagram>* parts) {
    parts_ = parts;
    next_ = 0;
  }
  bool HasMore() const { return next_ < parts_->size(); }
  std::uint32_t last_sequence() const { return last_sequence_; }

 private:
  class Socket : public platform::NetlinkSocket {
   public:
    explicit Socket(ReadyKernel* kernel) : kernel_(kernel) {}

    int fd() const override { return 0; }
    std::uint32_t port() const override { return kPort; }
    bool Send(std::span<const std::uint8_t> datagram) override {
      nlmsghdr header;
      std::memcpy(&header, datagram.data(), sizeof(header));
      kernel_->last_sequence_ = header.nlmsg_seq;
      return true;
    }
    platform::ReceiveResult Receive(std::span<std::uint8_t> buffer) override {
      if (!kernel_->HasMore()) return {platform::ReceiveStatus::kNothing};
      const Datagram& part = (*kernel_->parts_)[kernel_->next_++];
      std::copy(part.begin(), part.end(), buffer.begin());
      return {platform::ReceiveStatus::kDatagram, part.size()};
    }

   private:
    ReadyKernel* kernel_;
  };

  const std::vector<Datagram>* parts_ = nullptr;
  std::size_t next_ = 0;
  std::uint32_t last_sequence_ = 0;
};

SteerUnderDump::SteerUnderDump()
    : kernel_(std::make_unique<ReadyKernel>()),
      manager_(*kernel_),
      steer_(loop_, &manager_, {kInterface}, &hostapd_,
             {.steer_interval = std::chrono::minutes(10),
              .poll_interval = kPollInterval,
              .lqm_hysteresis = 15,
              .is_root = true,
              .root_lqm_floor = 30,
              .child_lqm_floor = 40}) {
  manager_.SetNl80211MessageType(kFamily);
  manager_.Start(loop_);
  steer_.Enable();
  loop_.AdvanceBy(kPollInterval);
}

SteerUnderDump::~SteerUnderDump() { manager_.Stop(); }

std::vector<Datagram> SteerUnderDump::MakeDump(std::size_t stations) const {
  std::mt19937 random(1);
  std::vector<Datagram> parts(1);
  for (std::size_t i = 0; i < stations; ++i) {
    const auto bits = static_cast<std::uint32_t>(random());
    FakeKernel::Address address = {0x02, static_cast<std::uint8_t>(i >> 16)};
    std::memcpy(address.data() + 2, &bits, sizeof(bits));
    const Datagram message = simulation::MakeGenericMessage(
        {.type = kFamily,
         .flags = NLM_F_MULTI,
         .sequence = kernel_->last_sequence(),
         .port = kPort},
        NL80211_CMD_NEW_STATION, simulation::MakeStationRecord(1, MakeStation(address)));
    if (parts.back().size() + message.size() > kPartSize) parts.emplace_back();
    parts.back().insert(parts.back().end(), message.begin(), message.end());
  }
  return parts;
}

void SteerUnderDump::Take(const std::vector<Datagram>& parts) {
  kernel_->Deliver(&parts);
  while (kernel_->HasMore()) loop_.watcher()->OnReadReady(0);
}

}  // namespace orvane::bench
