#include "platform/netlink/netlink_connection.h"

#include <array>
#include <optional>
#include <utility>

#include "platform/logging.h"

namespace orvane::platform {
namespace {

// Shared by all connections: there is one thread, and a datagram is processed before the next one
// is received.
std::span<std::uint8_t> ReceiveBuffer() {
  static std::array<std::uint8_t, NetlinkConnection::kReceiveBufferSize> buffer;
  return buffer;
}

}  // namespace

NetlinkConnection::NetlinkConnection(Loop& loop, std::unique_ptr<NetlinkSocket> socket)
    : socket_(std::move(socket)), watch_(loop.WatchReadable(socket_->fd(), this)), deadline_(loop) {
  if (watch_ != nullptr) return;
  LOG(ERROR) << "Failed to watch the netlink socket";
  Close();
}

NetlinkConnection::~NetlinkConnection() {
  if (request_ != nullptr) DropRequest();
}

bool NetlinkConnection::Send(GenericNetlinkRequest request, std::uint32_t sequence,
                             NetlinkHandlers* handlers) {
  request.SetSender(socket_->port(), sequence);
  if (!socket_->Send(request.bytes())) {
    PLOG(WARNING) << "Failed to send a netlink request";
    return false;
  }
  request_ = std::make_shared<Request>(
      Request{std::move(*handlers), sequence, request.message_type(), request.IsDump()});
  ArmDeadline();
  return true;
}

void NetlinkConnection::ArmDeadline() {
  has_heard_since_armed_ = false;
  deadline_.Start(kResponseDeadline, [this] { OnDeadline(); });
}

void NetlinkConnection::OnDeadline() {
  const std::shared_ptr<Request> request = request_;
  // If the loop was blocked, the reply may already be in the queue.
  ReadDatagrams();
  if (request->phase == Phase::kEnded) return;
  if (has_heard_since_armed_) return ArmDeadline();
  Close();
  if (request->phase == Phase::kReplied) return DropRequest();
  End(AuxiliaryKind::kTimeOut, nullptr);
}

void NetlinkConnection::ReadDatagrams() {
  const std::shared_ptr<Request> request = request_;
  for (int i = 0; i < kDatagramsPerWakeUp; ++i) {
    if (!ReadDatagram(request.get())) return;
    // Nothing more is expected. Another receive would cost a system call.
    if (request != nullptr && request->phase == Phase::kEnded) return;
  }
}

// Returns whether there may be more to read.
bool NetlinkConnection::ReadDatagram(Request* request) {
  const ReceiveResult result = socket_->Receive(ReceiveBuffer());
  switch (result.status) {
    case ReceiveStatus::kDatagram:
      has_heard_since_armed_ = true;
      WalkMessages(request, ReceiveBuffer().first(result.length));
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
      Close();
      if (request != nullptr) End(AuxiliaryKind::kKernelError, nullptr);
      return false;
  }
  return false;
}

void NetlinkConnection::WalkMessages(Request* request, std::span<const std::uint8_t> datagram) {
  const std::uint32_t port = socket_->port();
  while (const std::optional<NetlinkMessage> message = NetlinkMessage::TakeFrom(&datagram)) {
    if (request != nullptr && request->phase != Phase::kEnded &&
        message->sequence() == request->sequence && message->port() == port) {
      OnMessage(*request, *message);
    } else {
      VLOG(1) << "Ignored a netlink message that answers no request: type " << message->type();
    }
  }
  if (!datagram.empty()) {
    VLOG(1) << "Ignored " << datagram.size() << " bytes after a netlink message";
  }
}

void NetlinkConnection::OnMessage(Request& request, const NetlinkMessage& message) {
  if ((message.flags() & NLM_F_DUMP_INTR) != 0) {
    VLOG(1) << "A netlink dump was interrupted by a change and may be inconsistent";
  }
  if (message.IsDone()) {
    End(AuxiliaryKind::kDone, &message);
  } else if (message.IsError() && message.GetError() != 0) {
    End(AuxiliaryKind::kKernelError, &message);
  } else if (message.IsError()) {
    OnAcknowledgement(request);
  } else if (message.type() == request.message_type) {
    OnReply(request, message);
  } else {
    request.phase = Phase::kBrokenOff;
    request.handlers.on_auxiliary(AuxiliaryKind::kUnexpectedType, &message);
  }
}

void NetlinkConnection::OnReply(Request& request, const NetlinkMessage& message) {
  const std::optional<GenericNetlinkMessage> reply = GenericNetlinkMessage::From(message);
  if (!reply.has_value()) {
    VLOG(1) << "Ignored a netlink message without a command";
    return;
  }
  request.handlers.on_message(*reply);
  if (request.is_dump) return;
  if (request.phase == Phase::kAcknowledged) return DropRequest();
  if (request.phase == Phase::kSent) request.phase = Phase::kReplied;
}

void NetlinkConnection::OnAcknowledgement(Request& request) {
  bool remove_handlers = true;
  request.handlers.on_acknowledgement(&remove_handlers);
  if (request.phase == Phase::kEnded) return;
  if (request.phase == Phase::kReplied) return DropRequest();
  if (remove_handlers) {
    Close();
    return DropRequest();
  }
  if (request.phase == Phase::kSent && !request.is_dump) request.phase = Phase::kAcknowledged;
}

// The connection is idle before the call, so that the handler can send the next request.
void NetlinkConnection::End(AuxiliaryKind kind, const NetlinkMessage* message) {
  const std::shared_ptr<Request> request = request_;
  const bool is_reported = request->phase != Phase::kBrokenOff;
  DropRequest();
  if (is_reported) request->handlers.on_auxiliary(kind, message);
}

void NetlinkConnection::DropRequest() {
  deadline_.Stop();
  request_->phase = Phase::kEnded;
  request_.reset();
}

void NetlinkConnection::Close() {
  watch_.reset();
  socket_.reset();
}

}  // namespace orvane::platform
