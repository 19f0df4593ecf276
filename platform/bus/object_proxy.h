#ifndef PLATFORM_BUS_OBJECT_PROXY_H_
#define PLATFORM_BUS_OBJECT_PROXY_H_

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/bus/messages.h"

namespace orvane::platform::bus {

class Connection;

// A time-out that stands for the bus library's own (25 s, if nobody changed it).
inline constexpr int kDefaultTimeoutMs = -1;

// A method call that is being put together; see ObjectProxy.
class MethodCall {
 public:
  MethodCall(MessagePtr message, std::string interface, std::string member)
      : message_(std::move(message)),
        writer_(message_.get()),
        interface_(std::move(interface)),
        member_(std::move(member)) {}

  // For the arguments, in order.
  MessageWriter& writer() { return writer_; }

 private:
  friend class ObjectProxy;

  MessagePtr message_;
  MessageWriter writer_;
  std::string interface_;
  std::string member_;
};

// A call under way. Destroying it, also in its own callback, drops the reply.
class PendingCall {
 public:
  virtual ~PendingCall() = default;
};

// Destroying it, also in its own callback, ends the subscription.
class SignalSubscription {
 public:
  virtual ~SignalSubscription() = default;
};

// The far end of method calls and signals: an object of a service. Made by Connection.
//
// An error is of the domain kDBusErrorDomain: an error reply's own name and text; where no reply
// came (nobody there, time-out, connection lost) those of the bus library; and where the call could
// not even be put together, or handed over, "org.freedesktop.DBus.Error.Failed".
class ObjectProxy {
 public:
  // Exactly one of the two is there. The reply is the callee's until it returns.
  using ReplyCallback = std::function<void(sd_bus_message* reply, const Error* error)>;
  // The signal is the callee's until it returns.
  using SignalCallback = std::function<void(sd_bus_message* signal)>;

  ObjectProxy(Connection& connection, std::string service, std::string path);
  ObjectProxy(const ObjectProxy&) = delete;
  ObjectProxy& operator=(const ObjectProxy&) = delete;

  MethodCall NewMethodCall(const std::string& interface, const std::string& member) const;

  // Sends the call and waits for its reply; nothing else is served meanwhile. Null, and an error
  // added, when there is no reply or it is an error. Time-outs are in milliseconds; a negative one
  // is kDefaultTimeoutMs.
  MessagePtr CallAndWait(MethodCall call, int timeout_ms, ErrorHolder error) const;

  // Sends the call. `callback` runs once, on the loop, unless the result is destroyed before.
  [[nodiscard]] std::unique_ptr<PendingCall> CallAsync(MethodCall call, int timeout_ms,
                                                       ReplyCallback callback) const;

  // Calls `callback` for each signal of that name that this object broadcasts. `arg0` is the first
  // argument that it must have; empty for any. The bus itself checks that the sender of a broadcast
  // owns the service's name, so no change of owner can be missed here. It does not check signals
  // that are addressed to this process; they are ignored, since anybody can send them.
  [[nodiscard]] std::unique_ptr<SignalSubscription> Subscribe(const std::string& interface,
                                                              const std::string& member,
                                                              const std::string& arg0,
                                                              SignalCallback callback) const;

  Connection& connection() const { return connection_; }
  const std::string& service() const { return service_; }
  const std::string& path() const { return path_; }

 private:
  Connection& connection_;
  std::string service_;
  std::string path_;
};

// Whether the reader of a reply has come to its end. If not, an error is added that says so.
bool CheckNoMoreArguments(sd_bus_message* reply, ErrorHolder error);

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_OBJECT_PROXY_H_
