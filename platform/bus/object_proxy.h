#ifndef PLATFORM_BUS_OBJECT_PROXY_H_
#define PLATFORM_BUS_OBJECT_PROXY_H_

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/bus/messages.h"
#include "platform/bus/slot.h"

namespace orvane::platform::bus {

class Connection;

// Selects the bus library's own time-out (25 s by default).
inline constexpr int kDefaultTimeoutMs = -1;

// A method call that is being built; see ObjectProxy.
class MethodCall {
 public:
  MethodCall(MessagePtr message, std::string interface, std::string member)
      : message_(std::move(message)),
        writer_(message_.get()),
        interface_(std::move(interface)),
        member_(std::move(member)) {}

  // Writes the arguments, in order.
  MessageWriter& writer() { return writer_; }

 private:
  friend class ObjectProxy;

  MessagePtr message_;
  MessageWriter writer_;
  std::string interface_;
  std::string member_;
};

// A call without its reply yet. Destroying it drops the reply. Its callback may destroy it.
class PendingCall {
 public:
  virtual ~PendingCall() = default;
};

// A subscription, which ends on destruction. Its callback may destroy it.
using SignalSubscription = SlotPtr;

// A remote object, for method calls and signals. Created by Connection.
//
// Errors have the domain kDBusErrorDomain. An error reply gives its own name and text. Without a
// reply (no such service, time-out, lost connection) the bus library gives them. If the call can't
// be built or sent, the name is "org.freedesktop.DBus.Error.Failed".
class ObjectProxy {
 public:
  // Exactly one argument is not null. The reply is valid during the call.
  using ReplyCallback = std::function<void(sd_bus_message* reply, const Error* error)>;
  // The signal is valid during the call.
  using SignalCallback = std::function<void(sd_bus_message* signal)>;

  ObjectProxy(Connection& connection, std::string service, std::string path);
  ObjectProxy(const ObjectProxy&) = delete;
  ObjectProxy& operator=(const ObjectProxy&) = delete;

  MethodCall NewMethodCall(const std::string& interface, const std::string& member) const;

  // Sends the call and blocks until the reply; the loop does not run. On failure or an error reply
  // returns null and adds an error. Time-outs are in milliseconds; a negative one is
  // kDefaultTimeoutMs.
  MessagePtr CallAndWait(MethodCall call, int timeout_ms, ErrorHolder error) const;

  // Sends the call. `callback` runs once, on the loop, unless the result is destroyed first.
  [[nodiscard]] std::unique_ptr<PendingCall> CallAsync(MethodCall call, int timeout_ms,
                                                       ReplyCallback callback) const;

  // Calls `callback` for each broadcast signal of that name from this object. `arg0` is the
  // required first argument; empty matches any. The bus checks that the sender of a broadcast owns
  // the service's name, so a change of owner can't be missed. It does not check signals that are
  // addressed to this process. These are ignored, since any process can send them.
  [[nodiscard]] SignalSubscription Subscribe(const std::string& interface,
                                             const std::string& member, const std::string& arg0,
                                             SignalCallback callback) const;

  Connection& connection() const { return connection_; }
  const std::string& service() const { return service_; }
  const std::string& path() const { return path_; }

 private:
  Connection& connection_;
  std::string service_;
  std::string path_;
};

// Returns whether the reply has no unread arguments left. Otherwise adds an error.
bool CheckNoMoreArguments(sd_bus_message* reply, ErrorHolder error);

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_OBJECT_PROXY_H_
