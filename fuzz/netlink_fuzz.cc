// All messages of the kernel, through the manager to the record views. The input is datagrams, each
// after its length of two bytes, high byte first. A length of zero lets a second pass. A datagram
// arrives on the socket of the request that its first message answers, by sequence number:
// initially 1 to 4.

#include <linux/nl80211.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "fuzz/fuzz_target.h"
#include "optimizer/nl80211_manager.h"
#include "optimizer/nl80211_message.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "platform/netlink/netlink_kernel.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/netlink/netlink_socket.h"

namespace orvane {
namespace {

using platform::AttributeList;
using platform::AuxiliaryKind;
using platform::GenericNetlinkMessage;
using platform::GenericNetlinkRequest;
using platform::NetlinkManager;
using platform::NetlinkMessage;
using platform::ReceiveResult;
using platform::ReceiveStatus;

constexpr std::uint16_t kFamily = 0x1c;
constexpr std::uint32_t kPort = 0x1234;

std::uint32_t SequenceOf(std::span<const std::uint8_t> datagram) {
  nlmsghdr header = {};
  std::memcpy(&header, datagram.data(), std::min(datagram.size(), sizeof(header)));
  return header.nlmsg_seq;
}

// Its sockets receive the datagrams of the input.
class InputKernel : public platform::NetlinkKernel {
 public:
  std::unique_ptr<platform::NetlinkSocket> OpenSocket() override {
    return std::make_unique<Socket>(this);
  }
  std::uint32_t GetInterfaceIndex(const std::string& /*name*/) override { return 1; }

  // Datagrams that answer no request go to the socket of the first one, while it is open.
  void Deliver(std::span<const std::uint8_t> datagram) {
    if (sockets_.empty()) return;
    const auto found = sockets_.find(SequenceOf(datagram));
    (found == sockets_.end() ? sockets_.begin() : found)->second->Add(datagram);
  }

 private:
  class Socket : public platform::NetlinkSocket {
   public:
    explicit Socket(InputKernel* kernel) : kernel_(kernel) {}
    ~Socket() override { kernel_->sockets_.erase(sequence_); }

    int fd() const override { return fd_.get(); }
    std::uint32_t port() const override { return kPort; }

    bool Send(std::span<const std::uint8_t> datagram) override {
      kernel_->sockets_.erase(sequence_);
      sequence_ = SequenceOf(datagram);
      kernel_->sockets_[sequence_] = this;
      return true;
    }

    void Add(std::span<const std::uint8_t> datagram) {
      datagrams_.push_back(datagram);
      CHECK(eventfd_write(fd_.get(), 1) == 0);
    }

    ReceiveResult Receive(std::span<std::uint8_t> buffer) override {
      if (datagrams_.empty()) {
        // May be zero already: before a request times out, its socket is read once more.
        eventfd_t count = 0;
        static_cast<void>(eventfd_read(fd_.get(), &count));
        return {ReceiveStatus::kNothing};
      }
      const auto datagram = datagrams_.front();
      datagrams_.pop_front();
      std::copy(datagram.begin(), datagram.end(), buffer.begin());
      return {ReceiveStatus::kDatagram, datagram.size()};
    }

   private:
    InputKernel* kernel_;
    platform::ScopedFd fd_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::uint32_t sequence_ = 0;
    std::deque<std::span<const std::uint8_t>> datagrams_;
  };

  // By sequence number of the last request.
  std::map<std::uint32_t, Socket*> sockets_;
};

// A record without a required attribute aborts by design. This checks the same conditions
// independently of the records.
bool HasAddress(const AttributeList& list, int type) {
  return list.Find(type).payload().size() == 6;
}

bool IsWholeStation(const AttributeList& list) {
  const AttributeList info(list.Find(NL80211_ATTR_STA_INFO));
  return info.Find(NL80211_STA_INFO_TX_BITRATE) && info.Find(NL80211_STA_INFO_RX_BITRATE) &&
         info.Get<std::uint64_t>(NL80211_STA_INFO_STA_FLAGS);
}

// Keeps the compiler from removing the reads.
volatile std::uint64_t used;
template <typename... Values>
void Use(Values... values) {
  used = (... + static_cast<std::uint64_t>(values));
}

void ReadBytesOfStation(const AttributeList& list, const ap::Nl80211Station& station) {
  const AttributeList info(list.Find(NL80211_ATTR_STA_INFO));
  if (info.Get<std::uint64_t>(NL80211_STA_INFO_TX_BYTES64)) Use(station.GetTxBytes());
  if (info.Get<std::uint64_t>(NL80211_STA_INFO_RX_BYTES64)) Use(station.GetRxBytes());
}

// Calls all getters.
void ReadStation(const GenericNetlinkMessage& message) {
  const AttributeList& list = *message.const_attributes();
  if (!IsWholeStation(list)) return;
  const ap::Nl80211Station station(message);
  ReadBytesOfStation(list, station);
  if (list.Get<std::uint32_t>(NL80211_ATTR_IFINDEX)) Use(station.GetInterfaceIndex());
  if (HasAddress(list, NL80211_ATTR_MAC)) CHECK(station.GetMacAddress().ToString().size() == 17);
  CHECK(station.GetTxBitrate() % 100 == 0 && station.GetRxBitrate() % 100 == 0);
  CHECK(station.GetTxMode() == "HT" || station.GetTxMode() == "VHT");
  CHECK(station.GetRxMode() == "HT" || station.GetRxMode() == "VHT");
  CHECK(station.GetTxChannelWidth() <= 160 && station.GetRxChannelWidth() >= 5);
  Use(station.GetSignal(), station.GetSignalAverage(), station.GetInactiveTime(),
      station.GetConnectedTime(), station.GetRxPackets(), station.GetTxPackets(),
      station.GetTxFailed(), station.GetTxMcs(), station.GetRxMcs(), station.GetTxNss(),
      station.GetRxNss(), station.GetTxGuardInterval().size(), station.GetRxGuardInterval().size());
  Use(station.IsAuthorized(), station.IsShortPreamble(), station.IsWme(), station.IsMfp(),
      station.IsTdlsPeer());
}

void ReadMeshPath(const GenericNetlinkMessage& message) {
  const AttributeList& list = *message.const_attributes();
  if (!list.Find(NL80211_ATTR_MPATH_INFO)) return;
  const ap::Nl80211MeshPath path(message);
  const ap::Nl80211MeshProxyPath proxy_path(message);
  if (HasAddress(list, NL80211_ATTR_MAC)) {
    CHECK(path.GetDestination() == proxy_path.GetDestination());
  }
  if (HasAddress(list, NL80211_ATTR_MPATH_NEXT_HOP)) {
    CHECK(path.GetNextHop() == proxy_path.GetMeshProxy());
  }
  if (list.Get<std::uint32_t>(NL80211_ATTR_IFINDEX)) Use(path.GetInterfaceIndex());
  Use(path.GetMetric(), path.GetFrameQueueLength());
  Use(path.IsActive(), path.IsResolving(), path.IsSnValid(), path.IsFixed(), path.IsResolved());
}

// The reported ends of one request.
struct Ends {
  bool is_dump = false;
  int count = 0;
  bool has_broken_off = false;  // no other end may follow
};

void Request(NetlinkManager* netlink, std::uint8_t command, bool is_dump,
             void (*read)(const GenericNetlinkMessage&), Ends* ends) {
  GenericNetlinkRequest request(kFamily, command);
  request.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, 1);
  if (is_dump) request.AddFlags(NLM_F_DUMP);
  ends->is_dump = is_dump;
  netlink->Send(request,
                {.on_message = read,
                 .on_acknowledgement = [](bool* remove_handlers) { *remove_handlers = false; },
                 .on_auxiliary =
                     [is_dump, ends](AuxiliaryKind kind, const NetlinkMessage* message) {
                       ap::ReportOutcome(is_dump, kind, message,
                                         &ap::Nl80211Manager::LogNl80211Error);
                       if (kind == AuxiliaryKind::kUnexpectedType) {
                         ends->has_broken_off = true;
                       } else {
                         ++ends->count;
                       }
                     }});
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  fuzz::Input input(bytes);
  platform::ManualLoop loop;
  InputKernel kernel;
  NetlinkManager netlink(kernel);
  netlink.Start(loop);
  // In the order of sequence numbers, which start at 1.
  std::array<Ends, 8> ends;
  Request(&netlink, NL80211_CMD_GET_STATION, /*is_dump=*/true, &ReadStation, &ends[0]);
  Request(&netlink, NL80211_CMD_GET_STATION, /*is_dump=*/false, &ReadStation, &ends[1]);
  Request(&netlink, NL80211_CMD_GET_MPATH, /*is_dump=*/true, &ReadMeshPath, &ends[2]);
  Request(&netlink, NL80211_CMD_GET_MPP, /*is_dump=*/false, &ReadMeshPath, &ends[3]);
  std::size_t requests = 4;
  while (!input.IsEmpty()) {
    if (const std::size_t length = input.TakeU16(); length != 0) {
      kernel.Deliver(input.TakeBytes(length));
      continue;
    }
    loop.AdvanceBy(std::chrono::seconds(1));
    // After a complete answer the socket is reused.
    if (requests < ends.size()) {
      Request(&netlink, NL80211_CMD_GET_STATION, /*is_dump=*/true, &ReadStation, &ends[requests++]);
    }
  }
  loop.AdvanceBy(2 * platform::NetlinkConnection::kResponseDeadline);
  for (const Ends& end : std::span(ends).first(requests)) {
    CHECK(end.count <= (end.has_broken_off ? 0 : 1)) << end.count;
    // A request for a single record may have its reply, which is not reported as an end.
    CHECK(end.count == 1 || end.has_broken_off || !end.is_dump);
  }
}

}  // namespace orvane
