#include "platform/netlink/netlink_manager.h"

#include <linux/genetlink.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include "platform/files.h"
#include "platform/logging.h"
#include "platform/netlink/kernel_transport.h"
#include "platform/one_shot_timer.h"

namespace orvane::platform {

struct NetlinkManager::Request {
  Request(const GenericNetlinkRequest& request_message, MessageHandler message_handler,
          AcknowledgementHandler acknowledgement_handler, AuxiliaryHandler auxiliary_handler)
      : message(request_message),
        on_message(std::move(message_handler)),
        on_acknowledgement(std::move(acknowledgement_handler)),
        on_auxiliary(std::move(auxiliary_handler)) {}

  bool HasItsReply() const { return !message.IsDump() && has_reply; }
  bool IsAnswered() const { return HasItsReply() && has_acknowledgement; }

  GenericNetlinkRequest message;
  const MessageHandler on_message;
  const AcknowledgementHandler on_acknowledgement;
  const AuxiliaryHandler on_auxiliary;
  std::uint32_t sequence = 0;
  bool has_reply = false;
  bool has_acknowledgement = false;
  bool has_broken_off = false;
  // Since the deadline was armed.
  bool has_progressed = false;
  bool has_ended = false;
  std::optional<OneShotTimer> deadline;
};

NetlinkManager* NetlinkManager::GetInstance() {
  // Never destroyed: what ends later than main may still point to it.
  static auto* const instance = new NetlinkManager;
  return instance;
}

NetlinkManager::NetlinkManager() : NetlinkManager(std::make_unique<KernelTransport>()) {}

NetlinkManager::NetlinkManager(std::unique_ptr<NetlinkTransport> transport)
    : transport_(std::move(transport)),
      buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(kReceiveBufferSize)) {}

NetlinkManager::~NetlinkManager() { Stop(); }

void NetlinkManager::SetTransport(std::unique_ptr<NetlinkTransport> transport) {
  CHECK(loop_ == nullptr);
  transport_ = std::move(transport);
  is_open_ = false;
}

bool NetlinkManager::Init() {
  is_open_ = transport_->Open();
  if (!is_open_) PLOG(ERROR) << "Failed to open a netlink socket";
  return is_open_;
}

void NetlinkManager::Start(Loop& loop) {
  Stop();
  loop_ = &loop;
  if (!is_open_) return;
  watch_ = loop.WatchReadable(transport_->fd(), this);
  if (watch_ == nullptr) LOG(ERROR) << "Failed to watch the netlink socket";
}

void NetlinkManager::Stop() {
  // The handlers are destroyed last, when nothing is left that their destruction could disturb.
  const auto requests = std::exchange(requests_, {});
  for (const auto& [sequence, request] : requests) {
    request->has_ended = true;
    request->deadline.reset();
  }
  dump_under_way_.reset();
  waiting_dumps_.clear();
  watch_.reset();
  loop_ = nullptr;
}

std::uint16_t NetlinkManager::GetFamily(const std::string& name) {
  CHECK(!is_walking_) << "The receive buffer is in use";
  std::uint16_t id = 0;
  GenericNetlinkRequest message(GENL_ID_CTRL, CTRL_CMD_GETFAMILY);
  if (message.attributes().SetStringAttributeValue(CTRL_ATTR_FAMILY_NAME, name)) {
    const RequestPtr request = AddRequest(
        message,
        [&id](const GenericNetlinkMessage& reply) {
          reply.const_attributes()->GetU16AttributeValue(CTRL_ATTR_FAMILY_ID, &id);
        },
        nullptr, nullptr);
    if (Transmit(*request)) AwaitRequest(*request, kFamilyDeadline);
    if (!request->has_ended) Release(request);
  }
  if (id == 0) LOG(WARNING) << "Unknown netlink family: " << name;
  return id;
}

void NetlinkManager::AwaitRequest(const Request& request, TimeSpan limit) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + limit;
  while (!request.has_ended && is_open_) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (rest.count() <= 0) return;
    pollfd descriptor = {transport_->fd(), POLLIN, 0};
    RetryOnEintr([&] { return poll(&descriptor, 1, static_cast<int>(rest.count())); });
    ReceiveOne();
  }
}

NetlinkManager::RequestPtr NetlinkManager::AddRequest(const GenericNetlinkRequest& message,
                                                      MessageHandler on_message,
                                                      AcknowledgementHandler on_acknowledgement,
                                                      AuxiliaryHandler on_auxiliary) {
  auto request = std::make_shared<Request>(message, std::move(on_message),
                                           std::move(on_acknowledgement), std::move(on_auxiliary));
  request->sequence = TakeSequence();
  request->message.SetSender(transport_->port(), request->sequence);
  requests_.emplace(request->sequence, request);
  return request;
}

// 0 is what the kernel uses for messages that answer nothing.
std::uint32_t NetlinkManager::TakeSequence() {
  do {
    ++last_sequence_;
  } while (last_sequence_ == 0 || requests_.contains(last_sequence_));
  return last_sequence_;
}

void NetlinkManager::Send(const GenericNetlinkRequest& message, MessageHandler on_message,
                          AcknowledgementHandler on_acknowledgement,
                          AuxiliaryHandler on_auxiliary) {
  CHECK(loop_ != nullptr) << "No loop to wait for the reply on";
  const RequestPtr request = AddRequest(message, std::move(on_message),
                                        std::move(on_acknowledgement), std::move(on_auxiliary));
  request->deadline.emplace(*loop_);
  ArmDeadline(*request);
  if (!message.IsDump()) {
    TransmitOrFail(*request);
  } else if (waiting_dumps_.size() >= kMaxWaitingDumps) {
    FailSoon(*request);
  } else {
    waiting_dumps_.push_back(request);
    if (dump_under_way_ == nullptr) TransmitNextDump();
  }
}

bool NetlinkManager::Transmit(const Request& request) {
  if (!is_open_ || request.message.message_type() == 0) return false;
  if (transport_->Send(request.message.bytes())) return true;
  PLOG(WARNING) << "Failed to send a netlink request";
  return false;
}

void NetlinkManager::TransmitOrFail(Request& request) {
  if (!Transmit(request)) FailSoon(request);
}

void NetlinkManager::TransmitNextDump() {
  if (waiting_dumps_.empty()) return;
  dump_under_way_ = waiting_dumps_.front();
  waiting_dumps_.pop_front();
  TransmitOrFail(*dump_under_way_);
}

// By the request's own timer, which dies with it. A posted task would have the loop's next turn
// begin at once: whoever asks again at each failure would then keep the processor busy.
void NetlinkManager::FailSoon(Request& request) {
  request.deadline->Start(TimeSpan::zero(),
                          [this, sequence = request.sequence] { OnFailure(sequence); });
}

void NetlinkManager::OnFailure(std::uint32_t sequence) {
  End(requests_.at(sequence), AuxiliaryKind::kKernelError, nullptr);
}

void NetlinkManager::ArmDeadline(Request& request) {
  request.has_progressed = false;
  request.deadline->Start(kResponseDeadline,
                          [this, sequence = request.sequence] { OnDeadline(sequence); });
}

void NetlinkManager::OnDeadline(std::uint32_t sequence) {
  const RequestPtr request = requests_.at(sequence);
  // Where something kept the loop busy all the time, the reply may have been waiting for long.
  ReadTransport();
  if (request->has_ended) return;
  if (request->has_progressed) {
    ArmDeadline(*request);
  } else if (request->HasItsReply()) {
    Release(request);
  } else {
    End(request, AuxiliaryKind::kTimeOut, nullptr);
  }
}

// Both take a reference of their own, since the one that they are given may lie in what they clear.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void NetlinkManager::Release(RequestPtr request) {
  request->has_ended = true;
  request->deadline.reset();
  requests_.erase(request->sequence);
  std::erase(waiting_dumps_, request);
  if (request != dump_under_way_) return;
  dump_under_way_.reset();
  TransmitNextDump();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
void NetlinkManager::End(RequestPtr request, AuxiliaryKind kind, const NetlinkMessage* message) {
  Release(request);
  if (request->has_broken_off) return;
  if (request->on_auxiliary) request->on_auxiliary(kind, message);
}

void NetlinkManager::OnReadReady(int /*fd*/) { ReadTransport(); }

void NetlinkManager::ReadTransport() {
  const WeakPtr<NetlinkManager> alive = weak_ptr_factory_.GetWeakPtr();
  const bool is_waiting = !requests_.empty();
  for (int i = 0; i < kDatagramsPerWakeUp && alive && is_open_; ++i) {
    if (!ReceiveOne()) return;
    // That was all that we asked for: looking whether there is more costs a call for nothing, and
    // what comes nevertheless wakes us up.
    if (is_waiting && alive && requests_.empty()) return;
  }
}

bool NetlinkManager::ReceiveOne() {
  const ReceiveResult result = transport_->Receive({buffer_.get(), kReceiveBufferSize});
  switch (result.status) {
    case ReceiveStatus::kDatagram:
      WalkDatagram({buffer_.get(), result.length});
      return true;
    case ReceiveStatus::kNothing:
      return false;
    case ReceiveStatus::kIgnored:
      VLOG(1) << "Ignored a netlink datagram that is not the kernel's";
      return true;
    case ReceiveStatus::kTruncated:
      LOG(WARNING) << "Dropped a netlink datagram of over " << kReceiveBufferSize << " bytes";
      return true;
    case ReceiveStatus::kLost:
      PLOG(WARNING) << "Netlink messages are lost";
      return true;
    case ReceiveStatus::kFailed:
      PLOG(ERROR) << "Failed to receive from netlink";
      is_open_ = false;
      watch_.reset();
      return false;
  }
  return false;
}

void NetlinkManager::WalkDatagram(std::span<const std::uint8_t> datagram) {
  const WeakPtr<NetlinkManager> alive = weak_ptr_factory_.GetWeakPtr();
  const std::shared_ptr<std::uint8_t[]> buffer = buffer_;
  const std::uint32_t port = transport_->port();
  is_walking_ = true;
  // Most often all messages of a datagram belong to one request.
  RequestPtr request;
  while (const std::optional<NetlinkMessage> message = NetlinkMessage::TakeFrom(&datagram)) {
    if (request == nullptr || request->has_ended || request->sequence != message->sequence() ||
        message->port() != port) {
      request = FindRequest(*message);
    }
    if (request != nullptr) Dispatch(request, *message);
    if (!alive) return;
  }
  is_walking_ = false;
  if (!datagram.empty())
    VLOG(1) << "Ignored " << datagram.size() << " bytes after a netlink message";
}

NetlinkManager::RequestPtr NetlinkManager::FindRequest(const NetlinkMessage& message) const {
  if (message.port() == transport_->port()) {
    const auto found = requests_.find(message.sequence());
    if (found != requests_.end()) return found->second;
  }
  VLOG(1) << "Ignored a netlink message that answers no request: type " << message.type();
  return nullptr;
}

void NetlinkManager::Dispatch(const RequestPtr& request, const NetlinkMessage& message) {
  request->has_progressed = true;
  if ((message.flags() & NLM_F_DUMP_INTR) != 0) {
    VLOG(1) << "A netlink dump was interrupted by a change and may be inconsistent";
  }
  if (message.IsDone()) {
    End(request, AuxiliaryKind::kDone, &message);
  } else if (message.IsError() && message.GetError() != 0) {
    End(request, AuxiliaryKind::kKernelError, &message);
  } else if (message.IsError()) {
    DispatchAcknowledgement(request);
  } else if (message.type() == request->message.message_type()) {
    DispatchReply(request, message);
  } else {
    request->has_broken_off = true;
    if (request->on_auxiliary) request->on_auxiliary(AuxiliaryKind::kUnexpectedType, &message);
  }
}

void NetlinkManager::DispatchReply(const RequestPtr& request, const NetlinkMessage& message) {
  const std::optional<GenericNetlinkMessage> reply = GenericNetlinkMessage::From(message);
  if (!reply.has_value()) {
    VLOG(1) << "Ignored a netlink message without a command";
    return;
  }
  request->has_reply = true;
  if (request->on_message) request->on_message(*reply);
  // An ended request may mean that the manager is gone.
  if (!request->has_ended && request->IsAnswered()) Release(request);
}

void NetlinkManager::DispatchAcknowledgement(const RequestPtr& request) {
  // A reply may still follow where nobody wants to decide.
  bool remove_handlers = request->on_acknowledgement != nullptr;
  if (remove_handlers) request->on_acknowledgement(&remove_handlers);
  request->has_acknowledgement = true;
  if (!request->has_ended && (remove_handlers || request->IsAnswered())) Release(request);
}

}  // namespace orvane::platform
