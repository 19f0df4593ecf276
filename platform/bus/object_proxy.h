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

// A call whose callback has not run yet. Destroying it cancels the callback. The callback may
// destroy it.
class PendingCall {
 public:
  virtual ~PendingCall() = default;
};

// A subscription, which ends on destruction. Its callback may destroy it.
using SignalSubscription = SlotPtr;

// A remote object, for method calls and signals. Created by Connection.
//
// Errors have the domain kDBusErrorDomain and the D-Bus error's name as their code. Name and text
// come from the error reply (of the bus, if there is no such service) or from the bus library
// (time-out, lost connection). If the call can't be built, or CallAsync can't send it, the code is
// "org.freedesktop.DBus.Error.Failed".
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

  // Calls `callback` for each broadcast signal `interface`.`member` of this object. If `arg0` is
  // not empty, it must equal the first argument. The bus delivers broadcasts only from the current
  // owner of the service's name. Signals that are addressed to this process are ignored, because
  // any process can send them. On failure returns null and logs a line.
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

// Returns true if all arguments of the reply have been read. Otherwise returns false and adds an
// error.
bool CheckNoMoreArguments(sd_bus_message* reply, ErrorHolder error);

}  // namespace orvane::platform::bus

#endif  // PLATFORM_BUS_OBJECT_PROXY_H_
