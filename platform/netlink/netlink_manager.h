#ifndef PLATFORM_NETLINK_NETLINK_MANAGER_H_
#define PLATFORM_NETLINK_NETLINK_MANAGER_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "platform/loop.h"
#include "platform/netlink/generic_netlink_request.h"
#include "platform/netlink/netlink_message.h"
#include "platform/netlink/netlink_transport.h"
#include "platform/weak_ptr.h"

namespace orvane::platform {

// Sends requests to generic-netlink families and hands their replies to the handlers, all over one
// socket and on one loop. Any number of requests may be under way; replies find theirs by sequence
// number.
//
// A request comes to its end once:
//  - a dump: with the kernel's done message, with an error, or at its deadline, of which the
//    auxiliary handler is told;
//  - any other: when its reply and its acknowledgement are in, in either order, of which the
//    auxiliary handler hears nothing; or with a done message, an error or at its deadline as above,
//    but at its deadline without a word where only the acknowledgement is missing;
//  - any: when the acknowledgement handler lets its handlers be removed.
// Its handlers are then destroyed. What comes later, or for nobody, is ignored with a verbose line.
// Once a message of an unexpected type has come, the answer counts as broken off: replies still
// reach their handler, but of the end nobody is told.
//
// The deadline is kResponseDeadline after Send; where messages have come in since, the request gets
// the same time again, and so on. So it ends by time-out between one and two such spans after the
// last sign of life, and exactly one after Send where there was none.
//
// The kernel runs one dump a socket at a time and refuses a second one. Dumps are therefore sent
// one after the other; the deadline of one that waits is running. Where too many wait, one more
// ends by an error, so that whoever asks faster than the kernel answers doesn't fill the memory.
//
// Handlers may send requests, destroy their owner, stop the manager or destroy it (if it is not the
// process-wide one). They are never called from inside Send.
class NetlinkManager : private FdWatcher {
 public:
  static constexpr TimeSpan kResponseDeadline{5'000'000};
  // How long GetFamily waits.
  static constexpr TimeSpan kFamilyDeadline{1'000'000};
  // The kernel sizes the parts of a dump by the largest buffer that it has seen, up to 32 KiB.
  static constexpr std::size_t kReceiveBufferSize = 64 * 1024;
  // Taken before the loop has its turn again.
  static constexpr int kDatagramsPerWakeUp = 16;
  static constexpr std::size_t kMaxWaitingDumps = 64;

  // What an auxiliary handler is told.
  enum class AuxiliaryKind : std::int32_t {
    kDone = 0,            // The end of a dump. With the message.
    kKernelError = 1,     // The end, by an error: with the message, without where it was not sent.
    kTimeOut = 2,         // The end. No message.
    kUnexpectedType = 3,  // A message of another type than the request's. Not the end.
  };

  // Called for each reply message.
  using MessageHandler = std::function<void(const GenericNetlinkMessage& message)>;
  // Called for an acknowledgement. `*remove_handlers` is true; cleared, the request goes on.
  using AcknowledgementHandler = std::function<void(bool* remove_handlers)>;
  // `message` is null or valid during the call.
  using AuxiliaryHandler = std::function<void(AuxiliaryKind kind, const NetlinkMessage* message)>;

  // The process-wide one, never null.
  static NetlinkManager* GetInstance();

  // On the real kernel, or on another transport.
  NetlinkManager();
  explicit NetlinkManager(std::unique_ptr<NetlinkTransport> transport);
  NetlinkManager(const NetlinkManager&) = delete;
  NetlinkManager& operator=(const NetlinkManager&) = delete;
  // Ends every request without a word, as Stop.
  ~NetlinkManager() override;

  // Before Init: what to use in place of the transport that it was made with.
  void SetTransport(std::unique_ptr<NetlinkTransport> transport);

  // Opens the transport. When that fails, which is logged, requests will end by an error.
  bool Init();

  // The id of a family, which is the message type of its requests and replies; 0, with a log line,
  // when the kernel has none of that name or doesn't answer. Waits for the kernel, up to
  // kFamilyDeadline; replies to other requests find their handlers meanwhile. Not to be called by a
  // handler.
  std::uint16_t GetFamily(const std::string& name);

  // The message type of nl80211, for those who make its requests. 0 until it is set.
  void SetNl80211MessageType(std::uint16_t type) { nl80211_message_type_ = type; }
  std::uint16_t nl80211_message_type() const { return nl80211_message_type_; }

  // Reads replies on `loop`, which must outlive the manager or be left with Stop.
  void Start(Loop& loop);

  // Forgets the loop and all requests; their handlers are destroyed without being called.
  void Stop();

  // Sends a request. To be called between Start and Stop. Where the transport fails, or the message
  // type is 0 since the family is unknown, or where kMaxWaitingDumps are waiting, the auxiliary
  // handler soon hears of an error.
  void Send(const GenericNetlinkRequest& request, MessageHandler on_message,
            AcknowledgementHandler on_acknowledgement, AuxiliaryHandler on_auxiliary);

  // The kernel's index of a network interface, 0 when there is none of that name.
  std::uint32_t GetInterfaceIndex(const std::string& name) const {
    return transport_->GetInterfaceIndex(name);
  }

 private:
  struct Request;
  using RequestPtr = std::shared_ptr<Request>;

  void OnReadReady(int fd) override;
  void OnWriteReady(int /*fd*/) override {}

  void ReadTransport();
  // Whether there may be more to read.
  bool ReceiveOne();
  void WalkDatagram(std::span<const std::uint8_t> datagram);
  RequestPtr FindRequest(const NetlinkMessage& message) const;

  RequestPtr AddRequest(const GenericNetlinkRequest& message, MessageHandler on_message,
                        AcknowledgementHandler on_acknowledgement, AuxiliaryHandler on_auxiliary);
  bool Transmit(const Request& request);
  void TransmitOrFail(Request& request);
  void TransmitNextDump();
  void AwaitRequest(const Request& request, TimeSpan limit);
  void ArmDeadline(Request& request);
  void OnDeadline(std::uint32_t sequence);
  void FailSoon(Request& request);
  void OnFailure(std::uint32_t sequence);
  // By value: the caller's may be the one that is dropped on the way.
  void Release(RequestPtr request);
  void End(RequestPtr request, AuxiliaryKind kind, const NetlinkMessage* message);

  void Dispatch(const RequestPtr& request, const NetlinkMessage& message);
  void DispatchReply(const RequestPtr& request, const NetlinkMessage& message);
  void DispatchAcknowledgement(const RequestPtr& request);

  std::uint32_t TakeSequence();

  std::unique_ptr<NetlinkTransport> transport_;
  bool is_open_ = false;
  // Shared with a walk over it: a handler may destroy the manager.
  std::shared_ptr<std::uint8_t[]> buffer_;
  bool is_walking_ = false;
  std::uint16_t nl80211_message_type_ = 0;
  std::uint32_t last_sequence_ = 0;
  Loop* loop_ = nullptr;
  std::unique_ptr<FdWatch> watch_;
  // By sequence number.
  std::map<std::uint32_t, RequestPtr> requests_;
  RequestPtr dump_under_way_;
  std::deque<RequestPtr> waiting_dumps_;
  WeakPtrFactory<NetlinkManager> weak_ptr_factory_{this};
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_NETLINK_MANAGER_H_
