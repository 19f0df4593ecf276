#ifndef PLATFORM_NETLINK_NETLINK_CONNECTION_H_
#define PLATFORM_NETLINK_NETLINK_CONNECTION_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "platform/loop.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_message.h"
#include "platform/netlink/netlink_socket.h"
#include "platform/one_shot_timer.h"
#include "platform/time.h"

namespace orvane::platform {

// Why the auxiliary handler is called, and with which message.
enum class AuxiliaryKind : std::int32_t {
  kDone = 0,            // The dump is complete; the done message.
  kKernelError = 1,     // The request failed; the error message, or null if the socket failed.
  kTimeOut = 2,         // The kernel did not answer; null.
  kUnexpectedType = 3,  // A message has another type than the request; that message.
};

// The handlers of a request. All must be set.
struct NetlinkHandlers {
  // Called for each reply message.
  std::function<void(const GenericNetlinkMessage& message)> on_message;
  // Called for an acknowledgement. `*remove_handlers` is true at the call. If the handler sets it
  // to false, the request continues, unless its reply has already arrived. Otherwise it ends.
  std::function<void(bool* remove_handlers)> on_acknowledgement;
  // The auxiliary handler. `message` is valid during the call.
  std::function<void(AuxiliaryKind kind, const NetlinkMessage* message)> on_auxiliary;
};

// A socket to the kernel, and the pending request on it, if any. The kernel runs one dump per
// socket at a time.
//
// A request ends in one of these ways. Its handlers are then destroyed.
//  - A done message or an error message arrives: the auxiliary handler is called.
//  - The socket fails: the auxiliary handler is called with kKernelError.
//  - The deadline passes: the auxiliary handler is called with kTimeOut.
//  - The deadline passes, and only the acknowledgement is missing (not for dumps): no call.
//  - The reply and the acknowledgement have both arrived (not for dumps): no call.
//  - An acknowledgement arrives, and its handler leaves `*remove_handlers` true: no call.
//  - The connection is destroyed: no call.
//
// The auxiliary handler is also called for each message of an unexpected type. The answer may then
// be incomplete, so the end of the request is not reported, not even a failure. Replies still reach
// the message handler until the request ends.
//
// After Send, the connection checks the request every kResponseDeadline. The deadline passes if no
// datagram has arrived since Send or the last check, so after up to twice kResponseDeadline.
//
// After a done message, an error message, or a reply and its acknowledgement, the connection is
// idle and can send the next request. In all other cases late replies may follow, so the socket is
// closed, which also ends the dump in the kernel.
//
// Handlers may destroy the connection.
class NetlinkConnection final : private FdWatcher {
 public:
  static constexpr TimeSpan kResponseDeadline{5'000'000};
  // The kernel sizes the datagrams of a dump by the largest buffer that the socket has been read
  // with, up to 32 KiB.
  static constexpr std::size_t kReceiveBufferSize = 64 * 1024;
  // The most datagrams that are read before the loop serves other descriptors.
  static constexpr int kDatagramsPerWakeUp = 16;

  // `loop` must outlive the connection. The connection is closed if the loop can't watch the
  // socket.
  NetlinkConnection(Loop& loop, std::unique_ptr<NetlinkSocket> socket);
  NetlinkConnection(const NetlinkConnection&) = delete;
  NetlinkConnection& operator=(const NetlinkConnection&) = delete;
  // Drops the request without calling its handlers.
  ~NetlinkConnection() override;

  bool IsOpen() const { return socket_ != nullptr; }
  bool IsIdle() const { return IsOpen() && request_ == nullptr; }

  // Sends a request; the connection must be idle. Calls no handler. On failure logs a line, returns
  // false, leaves `*handlers` unchanged and stays idle.
  bool Send(GenericNetlinkRequest request, std::uint32_t sequence, NetlinkHandlers* handlers);

 private:
  enum class Phase : std::uint8_t {
    kSent,
    kReplied,       // Not a dump: the reply has arrived, its acknowledgement has not.
    kAcknowledged,  // Not a dump: the acknowledgement has arrived, the reply has not.
    kBrokenOff,     // An unexpected message has arrived. The end is not reported.
    kEnded,
  };

  struct Request {
    NetlinkHandlers handlers;
    std::uint32_t sequence;
    std::uint16_t message_type;
    bool is_dump;
    Phase phase = Phase::kSent;
  };

  void OnReadReady(int /*fd*/) override { ReadDatagrams(); }
  void OnWriteReady(int /*fd*/) override {}
  void ArmDeadline();
  void OnDeadline();

  // Each of these may call handlers, which may destroy the connection. `request` outlives the call;
  // a null pointer means that no request is pending.
  void ReadDatagrams();
  bool ReadDatagram(Request* request);
  void WalkMessages(Request* request, std::span<const std::uint8_t> datagram);
  void OnMessage(Request& request, const NetlinkMessage& message);
  void OnReply(Request& request, const NetlinkMessage& message);
  void OnAcknowledgement(Request& request);
  void End(AuxiliaryKind kind, const NetlinkMessage* message);

  void DropRequest();
  void Close();

  std::unique_ptr<NetlinkSocket> socket_;
  std::unique_ptr<FdWatch> watch_;
  OneShotTimer deadline_;
  bool has_heard_since_armed_ = false;
  // Shared, because a handler may destroy the connection while a function uses the request.
  std::shared_ptr<Request> request_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_CONNECTION_H_
