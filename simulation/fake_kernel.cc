#include "simulation/fake_kernel.h"

#include <linux/nl80211.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/logging.h"
#include "simulation/nl80211_records.h"

namespace orvane::simulation {
namespace {

using platform::Attribute;
using platform::AttributeList;
using platform::GenericNetlinkMessage;
using platform::NetlinkMessage;
using platform::NetlinkSocket;
using platform::ReceiveResult;
using platform::ReceiveStatus;
using platform::ScopedFd;

// Size of a part before the kernel knows a larger buffer, and the maximum size.
constexpr std::size_t kSmallestPart = 4096;
constexpr std::size_t kLargestPart = 32 * 1024;
constexpr std::size_t kLargestRequest = 4096;

// Sent in place of a message that the peer must not see.
constexpr std::uint8_t kPlaceholder = 0;

std::size_t SizeOfMessage(std::span<const std::uint8_t> messages) {
  nlmsghdr header;
  std::memcpy(&header, messages.data(), sizeof(header));
  return NLMSG_ALIGN(header.nlmsg_len);
}

// Returns the size of as many whole messages as fit into `room`.
std::size_t SizeOfPart(std::size_t room, std::span<const std::uint8_t> messages) {
  std::size_t size = 0;
  while (size < messages.size()) {
    const std::size_t next = size + SizeOfMessage(messages.subspan(size));
    if (next > room) break;
    size = next;
  }
  return size;
}

// Returns the size of the first `count` messages, or of all.
std::size_t SizeOfFirst(std::size_t count, std::span<const std::uint8_t> messages) {
  std::size_t size = 0;
  for (; count > 0 && size < messages.size(); --count) {
    size += SizeOfMessage(messages.subspan(size));
  }
  return size;
}

// Like the kernel, numbers the entries from 1.
AttributeBuilder GroupAttributes(const std::map<std::string, std::uint32_t>& groups) {
  AttributeBuilder list;
  int entry = 0;
  for (const auto& [name, number] : groups) {
    list.Nest(++entry, AttributeBuilder()
                           .Text(CTRL_ATTR_MCAST_GRP_NAME, name)
                           .U32(CTRL_ATTR_MCAST_GRP_ID, number));
  }
  return list;
}

AttributeList AttributesOf(const FakeKernel::Request& request) {
  return AttributeList(request.attributes);
}

}  // namespace

class FakeKernel::Socket : public NetlinkSocket {
 public:
  Socket(FakeKernel* kernel, ScopedFd fd, std::uint32_t port)
      : kernel_(kernel), fd_(std::move(fd)), port_(port) {}
  ~Socket() override { kernel_->peers_.erase(port_); }

  int fd() const override { return fd_.get(); }
  std::uint32_t port() const override { return port_; }

  bool JoinGroup(std::uint32_t group) override {
    peer().groups.insert(group);
    return true;
  }

  bool Send(std::span<const std::uint8_t> datagram) override {
    if (kernel_->send_error_ != 0) {
      errno = kernel_->send_error_;
      return false;
    }
    if (!NetlinkSocket::Send(datagram)) return false;
    kernel_->last_port_ = port_;
    kernel_->Serve(peer());
    return true;
  }

  ReceiveResult Receive(std::span<std::uint8_t> buffer) override {
    peer().largest_buffer = std::max(peer().largest_buffer, buffer.size());
    ++kernel_->receive_count_;
    const ReceiveResult result = NetlinkSocket::Receive(buffer);
    const bool has_datagram =
        result.status == ReceiveStatus::kDatagram || result.status == ReceiveStatus::kTruncated;
    if (!has_datagram || peer().outcomes.empty()) return result;
    kernel_->ContinueDump(peer());
    const Outcome outcome = peer().outcomes.front();
    peer().outcomes.pop_front();
    if (outcome.status == ReceiveStatus::kDatagram) return result;
    errno = outcome.error_number;
    return {outcome.status};
  }

 private:
  Peer& peer() { return kernel_->peers_.at(port_); }

  FakeKernel* kernel_;
  ScopedFd fd_;
  std::uint32_t port_;
};

FakeKernel::FakeKernel() = default;
FakeKernel::~FakeKernel() = default;

std::unique_ptr<NetlinkSocket> FakeKernel::OpenSocket() {
  errno = open_error_;
  if (open_error_ != 0) return nullptr;
  int fds[2];
  CHECK(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds) == 0);
  const std::uint32_t port = next_port_++;
  peers_[port].fd = ScopedFd(fds[0]);
  return std::make_unique<Socket>(this, ScopedFd(fds[1]), port);
}

std::uint32_t FakeKernel::GetInterfaceIndex(const std::string& name) {
  const auto found = indexes_.find(name);
  return found == indexes_.end() ? 0 : found->second;
}

void FakeKernel::SetSilent(bool silent) {
  is_silent_ = silent;
  for (auto& [port, peer] : peers_) peer.dump.reset();
}

void FakeKernel::Close() {
  for (auto& [port, peer] : peers_) peer.fd = ScopedFd();
}

void FakeKernel::SetHolding(bool holding) {
  is_holding_ = holding;
  while (!is_holding_ && answered_ < requests_.size()) {
    const Request request = requests_[answered_++];
    Answer(request);
  }
}

void FakeKernel::ForgetRequests() {
  requests_.erase(requests_.begin(), requests_.begin() + static_cast<std::ptrdiff_t>(answered_));
  answered_ = 0;
}

void FakeKernel::Serve(Peer& peer) {
  std::array<std::uint8_t, kLargestRequest> buffer;
  const ssize_t length = recv(peer.fd.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (length < 0) return;
  std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(length));
  while (const auto message = NetlinkMessage::TakeFrom(&bytes)) {
    const auto generic = GenericNetlinkMessage::From(*message);
    CHECK(generic.has_value()) << "A request without a command";
    const auto attributes = message->payload().subspan(GENL_HDRLEN);
    requests_.push_back({{message->type(), message->flags(), message->sequence(), message->port()},
                         generic->command(),
                         {attributes.begin(), attributes.end()}});
    if (is_silent_) ++answered_;
  }
  SetHolding(is_holding_);
}

void FakeKernel::Answer(const Request& request) {
  if (const auto failure = std::exchange(next_failure_, std::nullopt)) {
    ReplyError(request, *failure);
  } else if (request.header.type == GENL_ID_CTRL) {
    AnswerFamily(request);
  } else if (request.header.type != kNl80211Family) {
    ReplyError(request, {ENOENT, ""});
  } else if ((request.header.flags & NLM_F_DUMP) == NLM_F_DUMP) {
    StartDump(request);
  } else {
    AnswerStation(request);
  }
}

void FakeKernel::AnswerFamily(const Request& request) {
  const std::string name(AttributesOf(request).Find(CTRL_ATTR_FAMILY_NAME).text());
  const auto found = families_.find(name);
  if (found == families_.end()) return ReplyError(request, {ENOENT, ""});
  const auto attributes = AttributeBuilder()
                              .Text(CTRL_ATTR_FAMILY_NAME, name)
                              .U16(CTRL_ATTR_FAMILY_ID, found->second)
                              .U32(CTRL_ATTR_VERSION, 1)
                              .Nest(CTRL_ATTR_MCAST_GROUPS, GroupAttributes(groups_));
  ReplyAndAcknowledge(
      request, MakeGenericMessage({GENL_ID_CTRL, 0, request.header.sequence, request.header.port},
                                  CTRL_CMD_NEWFAMILY, attributes));
}

void FakeKernel::AnswerStation(const Request& request) {
  const AttributeList attributes = AttributesOf(request);
  const std::optional<std::string> interface = FindInterface(attributes);
  if (!interface) return ReplyError(request, {ENODEV, ""});
  const Attribute address = attributes.Find(NL80211_ATTR_MAC);
  for (const Station& station : stations_[*interface]) {
    if (!std::ranges::equal(station.address, address.payload())) continue;
    return ReplyAndAcknowledge(
        request, MakeGenericMessage(
                     {kNl80211Family, 0, request.header.sequence, request.header.port},
                     NL80211_CMD_NEW_STATION, MakeStationRecord(indexes_[*interface], station)));
  }
  ReplyError(request, {ENOENT, ""});
}

std::vector<std::uint8_t> FakeKernel::ListMessages(const Request& request,
                                                   const std::string& interface) {
  const std::uint32_t index = indexes_[interface];
  MessageHeader header = {kNl80211Family, NLM_F_MULTI, request.header.sequence,
                          request.header.port};
  if (is_dump_interrupted_) header.flags |= NLM_F_DUMP_INTR;
  std::vector<std::uint8_t> messages;
  const auto add = [&](std::span<const std::uint8_t> message) {
    messages.insert(messages.end(), message.begin(), message.end());
  };
  switch (request.command) {
    case NL80211_CMD_GET_STATION: {
      StationMessages station_messages(header, index);
      for (const auto& station : stations_[interface]) add(station_messages.Make(station));
      break;
    }
    case NL80211_CMD_GET_MPATH:
      for (const auto& path : mesh_paths_[interface]) {
        add(MakeGenericMessage(header, NL80211_CMD_NEW_MPATH, MakeMeshPathRecord(index, path)));
      }
      break;
    case NL80211_CMD_GET_MPP:
      for (const auto& path : mesh_proxy_paths_[interface]) {
        add(MakeGenericMessage(header, NL80211_CMD_NEW_MPATH,
                               MakeMeshProxyPathRecord(index, path)));
      }
      break;
    default:
      break;
  }
  return messages;
}

void FakeKernel::StartDump(const Request& request) {
  const auto found = peers_.find(request.header.port);
  if (found == peers_.end()) return;
  Peer& peer = found->second;
  if (peer.dump) return ReplyError(request, {EBUSY, ""});
  Dump& dump = peer.dump.emplace(Dump{request.header, {}, 0, 0});
  if (const std::optional<std::string> interface = FindInterface(AttributesOf(request))) {
    dump.messages = ListMessages(request, *interface);
  } else {
    dump.result = -ENODEV;
  }
  if (const auto failure = std::exchange(next_dump_failure_, std::nullopt)) {
    dump.messages.resize(SizeOfFirst(failure->after, dump.messages));
    dump.result = -failure->error_number;
  }
  ContinueDump(peer);
}

// Sends one part, or the end as a separate datagram.
void FakeKernel::ContinueDump(Peer& peer) {
  if (!peer.dump) return;
  Dump& dump = *peer.dump;
  const std::span rest = std::span(dump.messages).subspan(dump.sent);
  if (rest.empty()) {
    const std::vector<std::uint8_t> done = MakeDoneMessage(dump.header, dump.result);
    peer.dump.reset();
    Push(peer, done, {ReceiveStatus::kDatagram, 0});
    return;
  }
  const std::size_t room = std::clamp(peer.largest_buffer, kSmallestPart, kLargestPart);
  const std::span<const std::uint8_t> part = rest.first(SizeOfPart(room, rest));
  dump.sent += part.size();
  Push(
      peer, part,
      loses_parts_ ? Outcome{ReceiveStatus::kLost, ENOBUFS} : Outcome{ReceiveStatus::kDatagram, 0});
}

void FakeKernel::ReplyAndAcknowledge(const Request& request, std::span<const std::uint8_t> reply) {
  const bool is_acknowledged = (request.header.flags & NLM_F_ACK) != 0;
  const std::vector<std::uint8_t> acknowledgement = MakeErrorMessage(request.header, 0);
  if (is_acknowledged && acknowledges_first_) Reply(request.header, acknowledgement);
  Reply(request.header, reply);
  if (is_acknowledged && !acknowledges_first_) Reply(request.header, acknowledgement);
}

void FakeKernel::ReplyError(const Request& request, const Failure& failure) {
  Reply(request.header, MakeErrorMessage(request.header, -failure.error_number, failure.text));
}

void FakeKernel::Reply(const MessageHeader& header, std::span<const std::uint8_t> datagram) {
  const auto found = peers_.find(header.port);
  if (found != peers_.end()) Push(found->second, datagram, {ReceiveStatus::kDatagram, 0});
}

void FakeKernel::Deliver(std::span<const std::uint8_t> datagram) {
  Reply({.type = 0, .port = last_port_}, datagram);
}

void FakeKernel::Multicast(std::uint32_t group, std::span<const std::uint8_t> datagram) {
  PushToGroup(group, datagram, {ReceiveStatus::kDatagram, 0});
}

void FakeKernel::MulticastFailure(std::uint32_t group, ReceiveStatus status, int error_number) {
  PushToGroup(group, {&kPlaceholder, 1}, {status, error_number});
}

void FakeKernel::PushToGroup(std::uint32_t group, std::span<const std::uint8_t> datagram,
                             const Outcome& outcome) {
  for (auto& [port, peer] : peers_) {
    if (peer.groups.contains(group)) Push(peer, datagram, outcome);
  }
}

void FakeKernel::DeliverFailure(ReceiveStatus status, int error_number) {
  Push(peers_.at(last_port_), {&kPlaceholder, 1}, {status, error_number});
}

void FakeKernel::Push(Peer& peer, std::span<const std::uint8_t> datagram, const Outcome& outcome) {
  // A peer that has closed its socket gets nothing.
  const ssize_t sent =
      send(peer.fd.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (sent < 0) return;
  peer.outcomes.push_back(outcome);
  ++datagram_count_;
}

std::optional<std::string> FakeKernel::FindInterface(const AttributeList& attributes) const {
  const auto index = attributes.Get<std::uint32_t>(NL80211_ATTR_IFINDEX);
  const auto found = std::ranges::find(indexes_, index, [](const auto& row) { return row.second; });
  if (found == indexes_.end()) return std::nullopt;
  return found->first;
}

}  // namespace orvane::simulation
